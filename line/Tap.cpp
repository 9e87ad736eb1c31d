#include "Tap.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace {

constexpr Time retryPause = 5'000;  // while the port takes nothing

/** The bytes that read or write has carried, none for now included. */
size_t Carried(const ComPort& port, ssize_t result, const char* failure) {
    if (result < 0 && errno != EAGAIN && errno != EINTR) port.Fail(failure);
    return static_cast<size_t>(std::max<ssize_t>(result, 0));
}

}  // namespace

void Tap::Receive(byte value, Time) {
    m_toRegister.push_back(value);
    m_passed.push_back({value, true});
}

void Tap::Tick(Time now) {
    if (!m_toRegister.empty()) {
        const size_t count = Carried(m_port, write(GetHandle(), m_toRegister.data(), m_toRegister.size()),
                                     ComPort::writeError);
        m_toRegister.erase(m_toRegister.begin(), m_toRegister.begin() + static_cast<std::ptrdiff_t>(count));
    }
    m_retryTime = m_toRegister.empty() ? never : now + retryPause;
    pollfd port{GetHandle(), POLLIN, 0};
    if (poll(&port, 1, 0) <= 0) return;
    byte buffer[4096];
    const ssize_t result = read(GetHandle(), buffer, sizeof buffer);
    if (result == 0) errno = ENODEV;
    const size_t count = Carried(m_port, result == 0 ? -1 : result, ComPort::readError);
    m_output.insert(m_output.end(), buffer, buffer + count);
    for (size_t i = 0; i < count; i++) m_passed.push_back({buffer[i], false});
}

Time Tap::GetDeadline() const { return m_retryTime; }

std::vector<byte> Tap::TakeOutput() { return std::exchange(m_output, {}); }

void Tap::HangUp() { m_hasHungUp = true; }

bool Tap::IsFull() const {
    constexpr size_t limit = 4096;
    return m_toRegister.size() > limit;
}

void Tap::Explain() {
    for (const Passing& passed : std::exchange(m_passed, {}))
        if (passed.isFromTool)
            m_decoder.ReceiveFromTool(passed.value);
        else
            m_decoder.ReceiveFromRegister(passed.value);
    if (std::exchange(m_hasHungUp, false)) m_decoder.HangUp();
}
