#include "Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "AppConfig.h"
#include "Exceptions.h"
#include "System/Clock.h"
#include "System/Interrupt.h"

namespace {

constexpr double bitsPerByte = 11;
constexpr double lateness = 3'000'000;  // of a delayed byte, longer than any time-out of a session
constexpr size_t fifoLevel = 8;         // bytes that a UART gathers before it hands them on, while more come
constexpr byte misheardByte = 0xFE;
constexpr Time untakenPollTime = 5'000;
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

Terminal::Terminal(const Settings& settings)
    : m_tty(settings.tty),
      m_faults(settings.faultRates, settings.seed),
      m_input(settings.baud),
      m_output(settings.baud) {
    if (settings.tty.empty()) {
        OpenPseudoTerminal();
        if (!settings.comSettings.empty()) m_wanted = MakeTermios(ParseLineSettings(settings.comSettings));
        return;
    }
    AppConfig::SetParameter(settings::tty.name, settings.tty, false);
    m_port.Open();
    m_port.Apply(settings.comSettings);
    m_handle = m_port.GetHandle();
}

void Terminal::OpenPseudoTerminal() {
    m_handle = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_handle == -1 || grantpt(m_handle) != 0 || unlockpt(m_handle) != 0)
        throw new SystemException("Unable to open a pseudo-terminal");
    // raw from the start: nothing is echoed or translated before the tool has set the line up
    termios settings{};
    tcgetattr(m_handle, &settings);
    cfmakeraw(&settings);
    tcsetattr(m_handle, TCSANOW, &settings);
}

Terminal::~Terminal() {
    if (!IsReal()) close(m_handle);
}

std::string Terminal::GetName() const {
    return IsReal() ? m_tty : std::string(ptsname(m_handle)).substr(std::string("/dev/").size());
}

Time Terminal::GetTime() { return GetTimeNs() / 1000; }

bool Terminal::Wait(Time deadline, int otherHandle, bool isInputTaken) {
    const Time now = GetTime();
    if (m_isHungUp) deadline = std::min(deadline, now + hungUpPollTime);
    const Time wait = std::max<Time>(deadline == never ? 0 : deadline - now, 0);
    const timespec timeout{static_cast<time_t>(wait / 1'000'000), static_cast<long>(wait % 1'000'000 * 1000)};
    // one without another side is always ready: it is asked only now and then
    pollfd lines[] = {{m_isHungUp || !isInputTaken ? -1 : m_handle, POLLIN, 0},
                      {otherHandle, POLLIN, 0},
                      {GetWakeUpHandle(), POLLIN, 0}};
    const int result = ppoll(lines, 3, deadline == never ? nullptr : &timeout, nullptr);
    if (m_isHungUp) {
        pollfd terminal{m_handle, 0, 0};
        poll(&terminal, 1, 0);
        m_isHungUp = (terminal.revents & POLLHUP) != 0;
        return true;
    }
    return result <= 0 || lines[0].revents == 0 || ReadInput();
}

bool Terminal::ReadInput() {
    byte buffer[4096];
    const ssize_t count = read(m_handle, buffer, sizeof buffer);
    const Time arrival = GetTime();
    if (count > 0) {
        std::vector<byte> bytes(buffer, buffer + count);
        if (IsSetUpOtherwise()) std::fill(bytes.begin(), bytes.end(), misheardByte);
        if (m_recording != nullptr) m_recording->AddReceived(bytes, arrival);
        m_input.Push(m_faults.Carry(bytes), arrival);
        return true;
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (count == 0) errno = ENODEV;
    if (IsReal()) m_port.Fail(ComPort::readError);
    if (m_recording != nullptr) m_recording->AddHangUp(arrival);
    m_isHungUp = true;
    m_output.Clear();
    m_untaken.clear();
    return false;
}

bool Terminal::IsSetUpOtherwise() const {
    termios settings{};
    if (!m_wanted || tcgetattr(m_handle, &settings) != 0) return false;
    // of the parity a pseudo-terminal keeps only whether it is odd
    constexpr tcflag_t kept = CSTOPB | PARODD;
    return cfgetospeed(&settings) != cfgetospeed(&*m_wanted) ||
           ((settings.c_cflag ^ m_wanted->c_cflag) & kept) != 0;
}

std::vector<byte> Terminal::TakeInput(Time now) { return m_input.TakeDue(now); }

void Terminal::Write(const std::vector<byte>& data, Time now) { m_output.Push(m_faults.Carry(data), now); }

void Terminal::Flush(Time now) {
    std::vector<byte> due = m_output.TakeDue(now);
    if (IsSetUpOtherwise()) std::fill(due.begin(), due.end(), misheardByte);
    if (m_recording != nullptr) m_recording->AddSent(due, now);
    due.insert(due.begin(), m_untaken.begin(), m_untaken.end());
    m_untaken.clear();
    if (due.empty()) return;
    const ssize_t count = write(m_handle, due.data(), due.size());
    // what a terminal without another side does not take is lost, as on a line that nobody listens to
    if (count < 0 && errno != EAGAIN && errno != EINTR && !IsReal())
        m_output.Clear();
    else
        m_untaken.assign(due.begin() + std::max<ssize_t>(count, 0), due.end());
}

bool Terminal::IsFull() const {
    constexpr size_t limit = 4096;
    return m_untaken.size() > limit;
}

Time Terminal::GetDeadline() const {
    const Time retry = m_untaken.empty() ? never : GetTime() + untakenPollTime;
    return std::min({m_input.GetDeadline(), m_output.GetDeadline(), retry});
}
