#include "SerialLine.h"

#include <linux/serial.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "AppConfig.h"
#include "Defaults.h"
#include "System/Interrupt.h"
#include "Tools.h"

namespace {

constexpr int silenceMs = 100;    // that ends an answer
constexpr size_t mostBytes = 64;  // of an answer: a line that never falls silent gives no other

}  // namespace

SerialLine::SerialLine() { m_port.Open(); }

void SerialLine::Apply(const LineSettings& settings) { m_port.Apply(ToComSettings(settings)); }

void SerialLine::Send(const std::vector<byte>& bytes) {
    m_port.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
}

std::vector<byte> SerialLine::Receive() {
    std::vector<byte> bytes;
    int timeoutMs =
        std::clamp(AppConfig::Get(settings::serialProtocolResponseMaxTime), silenceMs, maxWaitTime);
    while (bytes.size() < mostBytes &&
           WaitForEvent(m_port.GetHandle(), POLLIN, timeoutMs, ComPort::readError)) {
        byte buffer[mostBytes];
        const ssize_t count = read(m_port.GetHandle(), buffer, sizeof buffer);
        if (count == 0) errno = ENODEV;
        if (count <= 0) m_port.Fail(ComPort::readError);
        bytes.insert(bytes.end(), buffer, buffer + count);
        timeoutMs = silenceMs;
    }
    return bytes;
}

std::optional<LineErrors> SerialLine::GetErrors() {
    serial_icounter_struct counters{};
    if (ioctl(m_port.GetHandle(), TIOCGICOUNT, &counters) != 0) return std::nullopt;
    return LineErrors{static_cast<unsigned>(counters.parity), static_cast<unsigned>(counters.frame),
                      static_cast<unsigned>(counters.overrun + counters.buf_overrun)};
}

std::string SerialLine::DescribeModemLines() const {
    int lines = 0;
    if (ioctl(m_port.GetHandle(), TIOCMGET, &lines) != 0) return "not known, the device has none";
    constexpr struct {
        int bit;
        const char* name;
    } names[] = {{TIOCM_DTR, "DTR"}, {TIOCM_RTS, "RTS"}, {TIOCM_CTS, "CTS"},
                 {TIOCM_DSR, "DSR"}, {TIOCM_CD, "DCD"},  {TIOCM_RI, "RI"}};
    std::string text;
    for (const auto& line : names)
        text +=
            (text.empty() ? "" : ", ") + std::string(line.name) + ((lines & line.bit) != 0 ? " on" : " off");
    return text;
}

bool SerialLine::IsHeldBack() const {
    const auto isCtsOff = [this] {
        int lines = 0;
        return ioctl(m_port.GetHandle(), TIOCMGET, &lines) == 0 && (lines & TIOCM_CTS) == 0;
    };
    if (!isCtsOff()) return false;
    Sleep(20);  // an adapter may tell of its lines a little later than it is opened
    return isCtsOff();
}
