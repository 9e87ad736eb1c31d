#include "System/Output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "System/Interrupt.h"

namespace {

/** Writes that are interrupted behind a signal, which happens ten times a second, before nothing more is
 * written. */
constexpr int maxInterruptions = 3;
int interruptions = 0;
int holders = 0;
std::string heldText;
bool isProgressShown = true;
bool isOutputLost = false;

}  // namespace

void OpenStandardDescriptors() {
    int descriptor;
    do descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

void Print(std::string_view text) {
    if (holders > 0) {
        heldText += text;
        return;
    }
    while (!text.empty() && interruptions < maxInterruptions) {
        const ssize_t count = write(STDOUT_FILENO, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
            continue;
        }
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        if (errno == EAGAIN && poll(&output, 1, -1) > 0) continue;  // it does not wait by itself
        if (errno != EINTR) {  // nobody reads, or there is no room; the status is told all the same
            isOutputLost = true;
            return;
        }
        if (GetInterrupt() != 0) interruptions++;
    }
}

bool IsOutputLost() { return isOutputLost; }

void ShowProgress(const std::string& text) {
    if (isProgressShown) Print(text + "\r");
}

void EraseProgress(size_t length) { ShowProgress(std::string(length, ' ')); }

void SetProgress(int level) { isProgressShown = level == 2 ? isatty(STDOUT_FILENO) != 0 : level != 0; }

bool IsPersonThere() { return isatty(STDERR_FILENO) != 0; }

void TellPerson(std::string_view line) {
    pollfd terminal{STDERR_FILENO, POLLOUT, 0};
    if (!IsPersonThere() || poll(&terminal, 1, 0) != 1 || terminal.revents != POLLOUT) return;
    sigset_t background;
    sigset_t former;
    sigemptyset(&background);
    sigaddset(&background, SIGTTOU);
    sigprocmask(SIG_BLOCK, &background, &former);
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    sigprocmask(SIG_SETMASK, &former, nullptr);
}

void ShowTotal(const std::string& text) {
    if (isProgressShown) TellPerson(text + "\n");
}

HeldOutput::HeldOutput() : m_start(heldText.size()) { holders++; }

HeldOutput::~HeldOutput() {
    if (m_isTaken || --holders > 0) return;  // what an inner one has held is the outer one's
    Print(heldText);
    heldText.clear();
}

std::string HeldOutput::Take() {
    std::string text = heldText.substr(m_start);
    heldText.resize(m_start);
    m_isTaken = true;
    holders--;
    return text;
}
