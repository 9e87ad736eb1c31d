#include "EcrComm/CommChannels/Linux/ComPort.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>

#include "AppConfig.h"
#include "EcrComm/CommChannels/DataLogger.h"
#include "EcrComm/CommChannels/Linux/HighResolutionTimer.h"
#include "EcrComm/IoStatistics.h"
#include "Exceptions.h"
#include "Format.h"
#include "IniFile.h"
#include "Logging.h"
#include "System/Clock.h"
#include "System/Interrupt.h"
#include "Tools.h"

namespace {

constexpr unsigned int timeoutUnitMs = 100;  // of VTIME
constexpr int minByteTimeoutMs = 100;
constexpr auto lowLatency = static_cast<int>(ASYNC_LOW_LATENCY);
constexpr long long maxDrainTimeMs = 1'000;

[[noreturn]] void ThrowPortLocked() {
    throw new ApplicationException("Another application is working now with ECR", ReturnCode_EcrPortLocked);
}

/** A time stamp for the debug log; 0 without one, where nobody asks for it. */
long long TimeToLog() { return IsLogged(LogType_Debug) ? highResolutionTimer.GetValue() : 0; }

/** Time that a character may take, stretched by "ComByteTimeMult", in ms. */
int ByteTimeout(const LineSettings& line) {
    const long double t = static_cast<long double>(AppConfig::Get(settings::comByteTimeMult)) *
                          GetBitsPerByte(line) * 1000 / static_cast<long double>(line.baud);
    return static_cast<int>(std::clamp<long double>(t, minByteTimeoutMs, INT_MAX));
}

bool IsPseudoTerminal(int handle) {
    struct stat status {};
    constexpr unsigned firstMajor = 136;
    constexpr unsigned lastMajor = 143;
    return fstat(handle, &status) == 0 && major(status.st_rdev) >= firstMajor &&
           major(status.st_rdev) <= lastMajor;
}

/**
 * Applies the settings. The C library fails when nothing could be changed, which is no failure where a killed
 * run has left the device set up just so, but for the parity that the device (a pseudo-terminal) cannot do.
 */
bool ApplySettings(int handle, const termios& settings) {
    if (tcsetattr(handle, TCSAFLUSH, &settings) == 0) return true;
    termios now{};
    return errno == EINVAL && tcgetattr(handle, &now) == 0 && now.c_iflag == settings.c_iflag &&
           now.c_oflag == settings.c_oflag && now.c_lflag == settings.c_lflag &&
           ((now.c_cflag ^ settings.c_cflag) & ~tcflag_t{PARENB}) == 0;
}

}  // namespace

ComPort::~ComPort() { Close(); }

ChannelOwner ComPort::Create() {
    return {new ComPort, [](ICommChannel* channel) {
                auto* port = static_cast<ComPort*>(channel);
                port->handle = -1;
                delete port;
            }};
}

void ComPort::Open() {
    const std::string tty = AppConfig::Get(settings::tty);
    if (tty.empty()) throw new ConfigurationException("Bad or missing tty name");
    m_path = "/dev/" + tty;
    LogMsg(LogType_Debug, "Opening serial port " + Printable(m_path), true);
    const Deadline deadline(1000LL * AppConfig::Get(settings::portWaitTime));
    while (!OpenAndLock()) {
        if (deadline.IsOver()) ThrowPortLocked();
        Sleep(10);
        CheckInterrupt();
    }
    if (tcgetattr(handle, &initialSettings) != 0)
        Fail("Cannot read serial port settings. Please ensure that correct TTY specified");

    m_hasInitialSettings = true;
    ComPort_Setup(defaultComSettings);
    // read directly, not by AppConfig: only a key above the first heading of the INI file is found
    ComPort_Setup(IniFile::GetString(settings::comSettings.name, ""));
    if (!ApplySettings(handle, currentSettings)) Fail("Cannot set serial port settings");
    LowerLatency();
    m_inputBegin = m_inputEnd = 0;
    // where a line is late enough for LineQuietTime, an answer that has begun may never end
    const int stallMaxTimeMs =
        AppConfig::GetParameter(settings::comStallMaxTime.name, AppConfig::Get(settings::lineQuietTime));
    m_stallMaxTimeMs = stallMaxTimeMs > 0 ? stallMaxTimeMs : -1;
}

bool ComPort::OpenAndLock() {
    // It stays non-blocking: every wait is one that a signal or a time limit can end.
    handle = open(m_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (handle == -1 && errno == EBUSY) return false;
    if (handle == -1) Fail("Unable to open serial port");
    m_hasInitialSettings = m_hasLowerLatency = false;
    if (AppConfig::Get(settings::skipInstanceChecking) != 0) return true;
    if (flock(handle, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        // not through Close, which would restore settings that are not known yet on a port that another run
        // uses
        close(handle);
        handle = -1;
        return false;
    }
    // The kernel forgets this when the last holder is gone, killed or not; but not on a pseudo-terminal,
    // which its other side keeps alive. There the lock above is enough.
    if (!IsPseudoTerminal(handle)) ioctl(handle, TIOCEXCL);
    return true;
}

void ComPort::Fail(const char* message) const { throw new SystemException(message, m_path); }

bool ComPort::WasUsedWithin(int seconds) const {
    constexpr int timeUnit = 8;  // s; it is up to so much older than the last write
    struct stat status {};
    if (fstat(handle, &status) != 0) return true;
    const time_t age = std::time(nullptr) - status.st_mtime;
    return age < 0 || age <= seconds + timeUnit;  // below 0: the clock was set back
}

void ComPort::LowerLatency() {
    serial_struct serial{};
    if (ioctl(handle, TIOCGSERIAL, &serial) != 0 || (serial.flags & lowLatency) != 0) return;
    serial.flags |= lowLatency;
    m_hasLowerLatency = ioctl(handle, TIOCSSERIAL, &serial) == 0;
}

void ComPort::RestoreLatency() {
    serial_struct serial{};
    if (!m_hasLowerLatency || ioctl(handle, TIOCGSERIAL, &serial) != 0) return;
    serial.flags &= ~lowLatency;
    ioctl(handle, TIOCSSERIAL, &serial);
}

void ComPort::Close() {
    if (handle == -1) return;
    if (!HasDrained())
        tcflush(handle, TCOFLUSH);  // or close would wait for the other side, for half a minute
    // With the queue empty this waits for the last bytes in the UART: at another speed they would be garbage.
    // The queue is not flushed then, as that takes back what the other side of a pseudo-terminal has not read
    // yet.
    constexpr int maxTries = 3;  // a signal interrupts the wait
    bool isRestored = !m_hasInitialSettings;
    for (int i = 0; i < maxTries && !isRestored; i++)
        isRestored = tcsetattr(handle, TCSADRAIN, &initialSettings) == 0;
    if (!isRestored) tcsetattr(handle, TCSANOW, &initialSettings);
    RestoreLatency();
    ioctl(handle, TIOCNXCL);
    futimens(handle, nullptr);  // the end of the run, however long it has waited: WasUsedWithin goes by it
    close(handle);
    handle = -1;
    LogMsg(LogType_Debug, "Closing serial port",
           true);  // last: nothing that can fail comes before the closing
}

bool ComPort::HasDrained() const {
    const Deadline deadline(maxDrainTimeMs);
    const timespec pause{0, 2'000'000};
    int queued = 0;
    while (ioctl(handle, TIOCOUTQ, &queued) == 0 && queued > 0) {
        if (deadline.IsOver()) return false;
        nanosleep(&pause, nullptr);
    }
    return true;
}

void ComPort::ComPort_Setup(const std::string& settings) {
    if (settings.empty()) return;
    const LineSettings line = ParseLineSettings(settings);
    currentSettings = MakeTermios(line);
    byteTimeoutMs = ByteTimeout(line);
}

void ComPort::Apply(const std::string& settings) {
    // held back bytes would be waited for without limit
    if (!HasDrained()) tcflush(handle, TCOFLUSH);
    ComPort_Setup(settings);
    if (!ApplySettings(handle, currentSettings)) Fail("Cannot set serial port settings");
    m_inputBegin = m_inputEnd = 0;
}

void ComPort::ComPort_SetSerialPortTimeoutSettings(byte minBytes, unsigned int timeoutMs) {
    // VMIN and VTIME keep their meaning, but WaitForInput gives it to them: applying them to the device would
    // cost a USB adapter a bus transaction or two for every read.
    currentSettings.c_cc[VMIN] = minBytes;
    currentSettings.c_cc[VTIME] = static_cast<cc_t>(timeoutMs / timeoutUnitMs);
}

void ComPort::ComPort_SetInterByteReadTimeout(unsigned int timeoutMs, byte minBytes) {
    ComPort_SetSerialPortTimeoutSettings(minBytes, timeoutMs);
}

void ComPort::SetReadTimeout(unsigned int ms) { ComPort_SetSerialPortTimeoutSettings(0, ms); }

void ComPort::GetReadTimeout(unsigned int& ms) { ms = currentSettings.c_cc[VTIME] * timeoutUnitMs; }

bool ComPort::WaitForInput() const {
    const bool isFirstByte = currentSettings.c_cc[VMIN] == 0;
    const int firstByteTimeoutMs = static_cast<int>(currentSettings.c_cc[VTIME] * timeoutUnitMs);
    return WaitForEvent(handle, POLLIN, isFirstByte ? firstByteTimeoutMs : m_stallMaxTimeMs, readError);
}

void ComPort::CheckHangUp() const {
    // a read of nothing: the device is gone, or somebody else has taken what was there
    pollfd line{handle, 0, 0};
    if (poll(&line, 1, 0) == 0) return;
    errno = ENODEV;
    Fail(readError);
}

bool ComPort::NextByte(byte& value) {
    while (m_inputBegin == m_inputEnd) {
        if (!WaitForInput()) return false;
        const ssize_t count = read(handle, m_input, sizeof m_input);
        if (count < 0 && errno != EINTR && errno != EAGAIN) Fail(readError);
        if (count == 0) CheckHangUp();
        if (count > 0) IoStatistics::BytesReceived += static_cast<int>(count);
        m_inputBegin = 0;
        m_inputEnd = count < 0 ? 0 : static_cast<size_t>(count);
    }
    value = m_input[m_inputBegin++];
    return true;
}

unsigned int ComPort::ReadUnknownSize(byte* data, unsigned int size, unsigned int firstByteTimeoutMs,
                                      unsigned int nextByteTimeoutMs, bool useEndByte, byte endByte) {
    if (size == 0 || data == nullptr) throw new InternalException(__FILE__, __LINE__);
    unsigned int savedTimeoutMs = 0;
    GetReadTimeout(savedTimeoutMs);
    SetReadTimeout(firstByteTimeoutMs);
    const long long startTime = TimeToLog();

    unsigned int count = 0;
    while (count < size && NextByte(data[count])) {
        if (++count == 1) ComPort_SetSerialPortTimeoutSettings(1, nextByteTimeoutMs);
        if (useEndByte && data[count - 1] == endByte) break;
    }

    const long long endTime = TimeToLog();
    SetReadTimeout(savedTimeoutMs);
    DataLogger::LogBlock(data, count, startTime, endTime, Direction_EcrToPc, "");
    return count;
}

bool ComPort::Read(byte* data, unsigned int size) {
    unsigned int readTimeoutMs = 0;
    GetReadTimeout(readTimeoutMs);
    return ReadUnknownSize(data, size, readTimeoutMs, static_cast<unsigned int>(byteTimeoutMs), false, 0) ==
           size;
}

unsigned int ComPort::ReadUnknownSize(byte* data, unsigned int size, byte endByte) {
    unsigned int readTimeoutMs = 0;
    GetReadTimeout(readTimeoutMs);
    return ReadUnknownSize(data, size, readTimeoutMs, static_cast<unsigned int>(byteTimeoutMs), true,
                           endByte);
}

bool ComPort::Write(const byte* data, unsigned int size) {
    if (size == 0 || data == nullptr) throw new InternalException(__FILE__, __LINE__);
    CheckInterrupt();
    const long long startTime = TimeToLog();
    unsigned int written = 0;
    while (written < size) {
        const ssize_t count = write(handle, data + written, size - written);
        if (count < 0 && errno != EINTR && errno != EAGAIN) Fail(writeError);
        if (count > 0) written += static_cast<unsigned int>(count);
        // full: the other side holds the line back
        if (written < size && !WaitForEvent(handle, POLLOUT, m_stallMaxTimeMs, writeError)) break;
    }
    const long long endTime = TimeToLog();
    DataLogger::LogBlock(data, written, startTime, endTime, Direction_PcToEcr, "");
    return written == size;
}

bool ComPort::WriteDirect(const byte* data, unsigned int size) { return Write(data, size); }
