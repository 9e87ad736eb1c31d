#include "Serve.h"

#include <algorithm>
#include <csignal>

namespace {

volatile std::sig_atomic_t isStopRequested = 0;

}  // namespace

void CatchStopSignals() {
    // taken only while the terminal waits, so that none slips in before a wait
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

void Serve(Terminal& terminal, Peer& peer, bool isOnce) {
    bool isConnected = true;
    while (isStopRequested == 0 && !peer.IsDone() && (isConnected || !isOnce)) {
        isConnected = terminal.Wait(std::min(peer.GetDeadline(), terminal.GetDeadline()), peer.GetHandle());
        const Time now = Terminal::GetTime();
        for (const byte value : terminal.TakeInput(isConnected ? now : never)) peer.Receive(value, now);
        peer.Tick(now);
        if (!isConnected) peer.HangUp();
        terminal.Write(peer.TakeOutput(), now);
        terminal.Flush(now);
    }
}
