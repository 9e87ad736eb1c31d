#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>

#include "Exceptions.h"
#include "Format.h"
#include "Link.h"
#include "Options.h"
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

void Serve(const Options& options) {
    Terminal terminal(options.baud, FaultyLine(options.faultRates, options.seed));
    const Trace trace(options.isTraced);
    Register ecr(options);
    Link link(options, ecr, trace);
    CatchSignals();
    Print("TTY=" + terminal.GetName() + "\n");

    bool isConnected = true;
    while (isStopRequested == 0 && (isConnected || !options.isOnce)) {
        isConnected = terminal.Wait(std::min(link.GetDeadline(), terminal.GetDeadline()));
        const Time now = Terminal::GetTime();
        for (const byte value : terminal.TakeInput(isConnected ? now : never)) link.Receive(value, now);
        link.Tick(now);
        if (!isConnected) link.HangUp();
        terminal.Write(link.TakeOutput(), now);
        terminal.Flush(now);
    }
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
