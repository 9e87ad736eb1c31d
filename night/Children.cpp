#include "Children.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "Exceptions.h"
#include "System/AtomicFile.h"
#include "System/Clock.h"
#include "System/Interrupt.h"

namespace {

/** A reader that has gone, and a limit of the size of files: the writing fails. */
constexpr int writeSignals[] = {SIGPIPE, SIGXFSZ};

bool isInterrupted = false;

constexpr int cannotExecute = 127;

/** But those that the caller has set to be ignored, as nohup does. */
sigset_t GetHeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGCHLD);
    for (const int interrupt : interrupts) {
        struct sigaction action {};
        sigaction(interrupt, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&held, interrupt);
    }
    return held;
}

/** Between fork and exec. */
[[noreturn]] void BecomeChild(char* const* words, const ChildFiles& files, pid_t parent) {
    setpgid(0, 0);  // Ctrl-C is for the night, which ends its runs in order
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(128 + SIGTERM);  // it has ended before
    const sigset_t held = GetHeldSignals();
    sigprocmask(SIG_UNBLOCK, &held, nullptr);
    for (const int signal : writeSignals) std::signal(signal, SIG_DFL);
    const int none = open("/dev/null", O_RDWR);
    dup2(files.input == -1 ? none : files.input, STDIN_FILENO);
    dup2(files.output == -1 ? none : files.output, STDOUT_FILENO);
    if (files.output != STDOUT_FILENO) dup2(STDOUT_FILENO, STDERR_FILENO);
    if (none > STDERR_FILENO) close(none);
    if (files.kept != -1) fcntl(files.kept, F_SETFD, 0);
    execv(words[0], words);
    _exit(cannotExecute);
}

EndedChild Describe(pid_t id, int status) {
    return {id, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

}  // namespace

PassingFile::PassingFile(const std::string& content) : m_file(memfd_create("tavo", MFD_CLOEXEC)) {
    if (!m_file.IsOpen() || !WriteAll(Get(), content.data(), content.size()) ||
        lseek(Get(), 0, SEEK_SET) != 0)
        throw new SystemException("No memory for a command's input or output");
}

std::string PassingFile::Read() const {
    constexpr size_t longest = size_t{1} << 20U;
    std::string text(longest, '\0');
    const ssize_t size = pread(Get(), text.data(), text.size(), 0);
    text.resize(static_cast<size_t>(size < 0 ? 0 : size));
    return text;
}

void HoldSignals() {
    std::signal(SIGCHLD, SIG_DFL);  // ignored, it would leave nothing to be waited for
    const sigset_t held = GetHeldSignals();
    sigprocmask(SIG_BLOCK, &held, nullptr);
    for (const int signal : writeSignals) std::signal(signal, SIG_IGN);
}

bool WaitForSignal(int timeoutMs) {
    if (isInterrupted) return true;
    const sigset_t held = GetHeldSignals();
    const timespec timeout{timeoutMs / 1000, timeoutMs % 1000 * 1'000'000L};
    const int signal = sigtimedwait(&held, nullptr, &timeout);
    if (signal > 0 && signal != SIGCHLD) isInterrupted = true;
    return isInterrupted;
}

pid_t StartChild(const std::vector<std::string>& words, const ChildFiles& files) {
    std::vector<std::string> copies = words;
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : copies) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) BecomeChild(pointers.data(), files, parent);
    if (child != -1) setpgid(child, child);  // whoever comes first
    return child;
}

std::optional<EndedChild> TakeEndedChild() {
    int status = 0;
    const pid_t id = waitpid(-1, &status, WNOHANG);
    if (id <= 0) return std::nullopt;
    return Describe(id, status);
}

int RunCommand(const std::vector<std::string>& words, const ChildFiles& files, int limitMs) {
    const pid_t child = StartChild(words, files);
    const Deadline limit(limitMs);
    int status = 0;
    pid_t ended = child;
    while (child != -1 && (ended = waitpid(child, &status, WNOHANG)) == 0) {
        constexpr int checkMs = 100;
        const timespec time{0, checkMs * 1'000'000L};
        if (!limit.IsOver()) {
            nanosleep(&time, nullptr);
            continue;
        }
        kill(-child, SIGKILL);
        waitpid(child, nullptr, 0);
        return 124;
    }
    return child == -1 || ended == -1 ? cannotExecute : Describe(child, status).status;
}
