#include "System/Interrupt.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "Exceptions.h"
#include "Format.h"
#include "System/Clock.h"

namespace {

/** ns in which a second signal is the same wish: timeout(1) sends its one twice, to the process and its
 * group. */
constexpr long long sameSignal = 1'000'000'000;

volatile std::sig_atomic_t receivedSignal = 0;
volatile long long receivedAt = 0;
int wakeUpPipe[2] = {-1, -1};  // written to by the handler: a poll that is about to begin ends at once

/** From now on every call that waits is interrupted soon, also one that is only about to begin. */
void InterruptEveryWait() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    constexpr itimerval often{{0, 100'000}, {0, 100'000}};
    setitimer(ITIMER_REAL, &often, nullptr);
}

void HandleInterrupt(int signal) {
    const int savedErrno = errno;
    if (receivedSignal == 0) {
        receivedSignal = signal;
        receivedAt = GetTimeNs();
        InterruptEveryWait();
    } else if (GetTimeNs() - receivedAt > sameSignal) {
        if (getpid() == 1) _exit(128 + signal);  // the first process of a container has no default actions
        std::signal(signal, SIG_DFL);
        std::raise(signal);  // its default action follows when the handler returns
    }
    [[maybe_unused]] const ssize_t written = write(wakeUpPipe[1], "", 1);
    errno = savedErrno;
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
    std::signal(SIGXFSZ, SIG_IGN);
}

int GetWakeUpHandle() { return wakeUpPipe[0]; }

int GetInterrupt() { return receivedSignal; }

void CheckInterrupt() {
    if (receivedSignal != 0)
        throw new ApplicationException(Format("Interrupted by signal %d", GetInterrupt()),
                                       ReturnCode_SystemError);
}

bool WaitForEvent(int handle, short events, int timeoutMs, const char* failure) {
    const Deadline deadline(timeoutMs);
    pollfd descriptors[] = {{handle, events, 0}, {wakeUpPipe[0], POLLIN, 0}};
    for (;;) {
        const int result = poll(descriptors, 2, timeoutMs < 0 ? -1 : deadline.GetRemainingMs());
        const int error = errno;
        CheckInterrupt();
        if (result >= 0) return result > 0;
        errno = error;
        if (error != EINTR) throw new SystemException(failure);
    }
}

void EndByInterrupt(int signal) {
    const rlimit noCore{0, 0};  // SIGQUIT would leave one, with the password in it
    setrlimit(RLIMIT_CORE, &noCore);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    _exit(128 + signal);  // the first process of a container outlives it
}
