#include "Serve.h"

#include <algorithm>

#include "System/Interrupt.h"

void Serve(Terminal& terminal, Peer& peer, bool isOnce) {
    bool isConnected = true;
    for (bool isLast = false; !isLast;) {
        isLast = GetInterrupt() != 0 || peer.IsDone() || (!isConnected && isOnce);
        const Time deadline = isLast ? 0 : std::min(peer.GetDeadline(), terminal.GetDeadline());
        isConnected = terminal.Wait(deadline, terminal.IsFull() ? -1 : peer.GetHandle(), !peer.IsFull());
        const Time now = Terminal::GetTime();
        for (const byte value : terminal.TakeInput(isConnected && !isLast ? now : never))
            peer.Receive(value, now);
        if (!terminal.IsFull()) peer.Tick(now);
        if (!isConnected) peer.HangUp();
        terminal.Write(peer.TakeOutput(), now);
        terminal.Flush(now);
        peer.Explain();
    }
}
