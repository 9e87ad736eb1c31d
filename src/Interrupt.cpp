#include "Interrupt.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "EcrComm/CommChannels/Linux/HighResolutionTimer.h"
#include "Exceptions.h"
#include "Format.h"

namespace {

constexpr int interrupts[] = {SIGINT, SIGTERM, SIGHUP};

/** ns in which a second signal is the same wish: timeout(1) sends its one twice, to the process and its
 * group. */
constexpr long long sameSignal = 1'000'000'000;

volatile std::sig_atomic_t receivedSignal = 0;
volatile long long receivedAt = 0;
int wakeUpPipe[2] = {-1, -1};  // written to by the handler: a poll that is about to begin ends at once

void HandleInterrupt(int signal) {
    const int savedErrno = errno;
    if (receivedSignal == 0) {
        receivedSignal = signal;
        receivedAt = GetTimeMs();
    } else if (GetTimeMs() - receivedAt > sameSignal) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);  // its default action follows when the handler returns
    }
    [[maybe_unused]] const ssize_t written = write(wakeUpPipe[1], "", 1);
    errno = savedErrno;
}

/** Time left to the deadline, rounded up to ms: a wait ends after its time, not before. */
int RemainingMs(long long deadline) {
    const long long remaining = deadline - GetTimeMs();
    return remaining <= 0 ? 0 : static_cast<int>((remaining + 999'999) / 1'000'000);
}

}  // namespace

void CatchInterrupts() {
    if (pipe2(wakeUpPipe, O_CLOEXEC | O_NONBLOCK) != 0) throw new SystemException("Unable to create a pipe");
    for (const int interrupt : interrupts) {
        struct sigaction action {};
        sigaction(interrupt, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action = {};
        action.sa_handler = HandleInterrupt;  // without SA_RESTART: system calls that wait are to end
        sigaction(interrupt, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

int GetInterrupt() { return receivedSignal; }

void CheckInterrupt() {
    if (receivedSignal != 0)
        throw new ApplicationException(Format("Interrupted by signal %d", GetInterrupt()),
                                       ReturnCode_SystemError);
}

bool WaitForEvent(int handle, short events, int timeoutMs, const char* failure) {
    const long long deadline = GetTimeMs() + timeoutMs * 1'000'000LL;
    pollfd descriptors[] = {{handle, events, 0}, {wakeUpPipe[0], POLLIN, 0}};
    for (;;) {
        const int result = poll(descriptors, 2, timeoutMs < 0 ? -1 : RemainingMs(deadline));
        const int error = errno;
        CheckInterrupt();
        if (result >= 0) return result > 0;
        errno = error;
        if (error != EINTR) throw new SystemException(failure);
    }
}

void EndByInterrupt(int signal) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::abort();  // not reached: none of these signals can be outlived
}
