#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>

#include "CommandLine.h"
#include "Exceptions.h"
#include "Link.h"
#include "Options.h"
#include "Output.h"
#include "Peer.h"
#include "Recording.h"
#include "Register.h"
#include "Terminal.h"
#include "Trace.h"

namespace {

volatile std::sig_atomic_t isStopRequested = 0;

/** SIGINT and SIGTERM are taken only while the terminal waits, so none slips in before a wait. */
void CatchSignals() {
    struct sigaction action {};
    action.sa_handler = [](int) { isStopRequested = 1; };
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

/** Carries bytes between the terminal and the peer until a signal, or the peer's end. */
void Connect(Terminal& terminal, Peer& peer, bool isOnce) {
    CatchSignals();
    Print("TTY=" + terminal.GetName() + "\n");
    bool isConnected = true;
    while (isStopRequested == 0 && !peer.IsDone() && (isConnected || !isOnce)) {
        isConnected = terminal.Wait(std::min(peer.GetDeadline(), terminal.GetDeadline()));
        const Time now = Terminal::GetTime();
        for (const byte value : terminal.TakeInput(isConnected ? now : never)) peer.Receive(value, now);
        peer.Tick(now);
        if (!isConnected) peer.HangUp();
        terminal.Write(peer.TakeOutput(), now);
        terminal.Flush(now);
    }
}

void ServeReplay(const Options& options) {
    Terminal terminal(0, FaultyLine({}, 0), nullptr);
    Replay replay(options.replayPath);
    Connect(terminal, replay, options.isOnce);
}

void Serve(const Options& options) {
    const auto recording =
        options.recordPath.empty() ? nullptr : std::make_unique<Recording>(options.recordPath);
    Terminal terminal(options.baud, FaultyLine(options.faultRates, options.seed), recording.get());
    const Trace trace(options.isTraced, recording.get());
    Register ecr(options);
    Link link(options, ecr, trace);
    Connect(terminal, link, options.isOnce);
    ecr.EndSession();
}

}  // namespace

int main(int argc, char* argv[]) {
    constexpr int badOption = 2;
    constexpr int failure = 1;
    try {
        const Options options = ParseOptions(argc, argv);
        if (options.isHelpRequested)
            Print(GetHelp());
        else if (options.isVersionRequested)
            Print(GetVersionText("ecrsim"));
        else if (!options.replayPath.empty())
            ServeReplay(options);
        else
            Serve(options);
        return 0;
    } catch (Exception* e) {
        const std::unique_ptr<Exception> cause(e);
        const bool isBadOption = e->GetReturnCode() == ReturnCode_CmdLineError;
        std::fprintf(stderr, "ecrsim: %s%s\n", e->GetLogMessage().c_str(),
                     isBadOption ? " (use --help)" : "");
        return isBadOption ? badOption : failure;
    }
}
