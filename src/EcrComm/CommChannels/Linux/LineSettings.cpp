#include "EcrComm/CommChannels/Linux/LineSettings.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "Exceptions.h"
#include "Format.h"

namespace {

[[noreturn]] void ThrowBadSetup() { throw new SystemException("Bad serial port setup parameters"); }

/** Reads the value behind the first occurrence of key, wherever it stands; without one the value stays. */
template <class Value>
void ScanKey(const std::string& settings, const char* key, const char* conversion, Value& value) {
    const size_t position = settings.find(key);
    if (position != std::string::npos)
        std::sscanf(settings.c_str() + position + std::strlen(key), conversion, &value);
}

speed_t SpeedOf(long baud) {
    for (const LineSpeed& entry : lineSpeeds)
        if (entry.baud == baud) return entry.speed;
    ThrowBadSetup();
}

tcflag_t CharacterSize(int data) {
    if (data == 7) return CS7;
    if (data == 8) return CS8;
    ThrowBadSetup();
}

tcflag_t StopBits(int stop) {
    if (stop == 1) return 0;
    if (stop == 2) return CSTOPB;
    ThrowBadSetup();
}

}  // namespace

LineSettings ParseLineSettings(const std::string& text) {
    LineSettings line;
    ScanKey(text, "baud=", "%ld", line.baud);
    ScanKey(text, "data=", "%d", line.data);
    ScanKey(text, "stop=", "%d", line.stop);
    ScanKey(text, "parity=", "%c", line.parity);
    return line;
}

const LineParity& GetParity(const LineSettings& line) {
    for (const LineParity& parity : lineParities)
        if (parity.letter == std::tolower(static_cast<unsigned char>(line.parity))) return parity;
    ThrowBadSetup();
}

std::string ToComSettings(const LineSettings& line) {
    return Format("baud=%ld parity=%c data=%d stop=%d", line.baud, line.parity, line.data, line.stop);
}

int GetBitsPerByte(const LineSettings& line) {
    return 1 + line.data + line.stop + (GetParity(line).flags != 0 ? 1 : 0);
}

termios MakeTermios(const LineSettings& line) {
    termios settings{};
    const speed_t speed = SpeedOf(line.baud);
    cfsetispeed(&settings, speed);
    cfsetospeed(&settings, speed);
    settings.c_cflag |= CharacterSize(line.data);
    settings.c_cflag |= StopBits(line.stop);
    settings.c_cflag |= GetParity(line).flags;
    if (GetParity(line).flags != 0) settings.c_iflag |= INPCK;  // input is checked
    // hardware flow control is always on; "rts=", "dtr=" and "octs=" are not interpreted
    settings.c_cflag |= CRTSCTS | CLOCAL | HUPCL | CREAD;
    return settings;
}
