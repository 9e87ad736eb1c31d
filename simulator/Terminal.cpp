#include "Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>

#include "Clock.h"
#include "Exceptions.h"

namespace {

constexpr double bitsPerByte = 11;
constexpr double lateness = 3'000'000;  // of a delayed byte, longer than any time-out of a session
constexpr size_t fifoLevel = 8;         // bytes that a UART gathers before it hands them on, while more come
constexpr Time hungUpPollTime = 5'000;  // a terminal without another side cannot be waited for

}  // namespace

PacedBytes::PacedBytes(int baud) : m_byteTime(baud == 0 ? 0 : bitsPerByte * 1'000'000 / baud) {}

void PacedBytes::Push(const std::vector<CarriedByte>& bytes, Time now) {
    m_freeAt = std::max(m_freeAt, static_cast<double>(now));
    for (const CarriedByte& carried : bytes) {
        m_freeAt += m_byteTime + (carried.isLate ? lateness : 0);
        m_bytes.emplace_back(m_freeAt, carried.value);
    }
}

std::vector<byte> PacedBytes::TakeDue(Time now) {
    std::vector<byte> due;
    while (!m_bytes.empty() && m_bytes.front().first <= static_cast<double>(now)) {
        due.push_back(m_bytes.front().second);
        m_bytes.pop_front();
    }
    return due;
}

Time PacedBytes::GetDeadline() const {
    if (m_bytes.empty()) return never;
    return static_cast<Time>(m_bytes[std::min(m_bytes.size(), fifoLevel) - 1].first) + 1;
}

void PacedBytes::Clear() { m_bytes.clear(); }

Terminal::Terminal(int baud, const FaultyLine& faults, Recording* recording)
    : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)),
      m_faults(faults),
      m_input(baud),
      m_output(baud),
      m_recording(recording) {
    if (m_master == -1 || grantpt(m_master) != 0 || unlockpt(m_master) != 0)
        throw new SystemException("Unable to open a pseudo-terminal");
    // raw from the start: nothing is echoed or translated before the tool has set the line up
    termios settings{};
    tcgetattr(m_master, &settings);
    cfmakeraw(&settings);
    tcsetattr(m_master, TCSANOW, &settings);
}

Terminal::~Terminal() { close(m_master); }

std::string Terminal::GetName() const {
    const std::string path = ptsname(m_master);
    return path.substr(std::string("/dev/").size());
}

Time Terminal::GetTime() { return GetTimeMs() / 1000; }

bool Terminal::Wait(Time deadline) {
    const Time now = GetTime();
    if (m_isHungUp) deadline = std::min(deadline, now + hungUpPollTime);
    const Time wait = std::max<Time>(deadline == never ? 0 : deadline - now, 0);
    const timespec timeout{wait / 1'000'000, wait % 1'000'000 * 1000};
    sigset_t noSignals;
    sigemptyset(&noSignals);
    pollfd terminal{m_master, static_cast<short>(m_isHungUp ? 0 : POLLIN), 0};
    if (m_isHungUp) {
        ppoll(nullptr, 0, &timeout, &noSignals);
        poll(&terminal, 1, 0);
        m_isHungUp = (terminal.revents & POLLHUP) != 0;
        return true;
    }
    const int result = ppoll(&terminal, 1, deadline == never ? nullptr : &timeout, &noSignals);
    if (result <= 0) return true;
    byte buffer[4096];
    const ssize_t count = read(m_master, buffer, sizeof buffer);
    const Time arrival = GetTime();
    if (count > 0) {
        const std::vector<byte> bytes(buffer, buffer + count);
        if (m_recording != nullptr) m_recording->AddReceived(bytes, arrival);
        m_input.Push(m_faults.Carry(bytes), arrival);
        return true;
    }
    if (m_recording != nullptr) m_recording->AddHangUp(arrival);
    m_isHungUp = true;
    m_output.Clear();
    return false;
}

std::vector<byte> Terminal::TakeInput(Time now) { return m_input.TakeDue(now); }

void Terminal::Write(const std::vector<byte>& data, Time now) { m_output.Push(m_faults.Carry(data), now); }

void Terminal::Flush(Time now) {
    const std::vector<byte> due = m_output.TakeDue(now);
    // what a terminal without another side does not take is lost, as on a line that nobody listens to
    if (!due.empty() && write(m_master, due.data(), due.size()) < 0) m_output.Clear();
    if (m_recording != nullptr) m_recording->AddSent(due, now);
}

Time Terminal::GetDeadline() const { return std::min(m_input.GetDeadline(), m_output.GetDeadline()); }
