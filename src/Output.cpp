#include "Output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "Interrupt.h"

namespace {

/** Writes that are interrupted behind a signal, which happens ten times a second, before nothing more is
 * written. */
constexpr int maxInterruptions = 3;
int interruptions = 0;
int holders = 0;
std::string heldText;

}  // namespace

void Print(std::string_view text) {
    if (holders > 0) {
        heldText += text;
        return;
    }
    for (size_t done = 0;
         done < text.size() && interruptions < maxInterruptions && WaitForOutput(STDOUT_FILENO);) {
        // a pipe that is ready takes as much as this without waiting; a terminal may take less, and wait
        const ssize_t count =
            write(STDOUT_FILENO, text.data() + done, std::min<size_t>(text.size() - done, PIPE_BUF));
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return;  // nobody reads; the status is told all the same
        if (count < 0 && GetInterrupt() != 0) interruptions++;
        if (count > 0) done += static_cast<size_t>(count);
    }
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
