#include "Output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "Interrupt.h"

namespace {

bool isHeld = false;
std::string heldText;

}  // namespace

void Print(std::string_view text) {
    if (isHeld) {
        heldText += text;
        return;
    }
    for (size_t done = 0; done < text.size() && WaitForOutput(STDOUT_FILENO);) {
        // a pipe that is ready takes as much as this without waiting
        const ssize_t count =
            write(STDOUT_FILENO, text.data() + done, std::min<size_t>(text.size() - done, PIPE_BUF));
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return;  // nobody reads; the status is told all the same
        if (count > 0) done += static_cast<size_t>(count);
    }
}

HeldOutput::HeldOutput() { isHeld = true; }

HeldOutput::~HeldOutput() { Print(Take()); }

std::string HeldOutput::Take() {
    isHeld = false;
    return std::exchange(heldText, "");
}
