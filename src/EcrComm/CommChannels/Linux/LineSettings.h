#pragma once

#include <termios.h>

#include <string>

struct LineSpeed {
    long baud;
    speed_t speed;
};

/** Every speed that "ComSettings" may name. */
inline constexpr LineSpeed lineSpeeds[] = {{4800, B4800},   {9600, B9600},   {19200, B19200},
                                           {38400, B38400}, {57600, B57600}, {115200, B115200}};

struct LineParity {
    char letter;
    tcflag_t flags;    // control flags of the terminal
    const char* name;  // "odd parity"
};

/** Every parity that "ComSettings" may name, in small or capital letters. */
inline constexpr LineParity lineParities[] = {
    {'o', PARENB | PARODD, "odd parity"}, {'e', PARENB, "even parity"}, {'n', 0, "no parity"}};

/** How bytes go over a serial line. */
struct LineSettings {
    long baud = 38400;
    int data = 8;  // bits
    int stop = 1;  // bits
    char parity = 'o';
};

/** Of a text such as "baud=9600 data=8 stop=1 parity=e"; keys left out keep their defaults. */
LineSettings ParseLineSettings(const std::string& text);
/** The row of its parity; SystemException "Bad serial port setup parameters". */
const LineParity& GetParity(const LineSettings& line);
/** The text that stands for them. */
std::string ToComSettings(const LineSettings& line);

/** Bits that a byte takes on the line. */
int GetBitsPerByte(const LineSettings& line);

/** The terminal settings of a raw line with hardware flow control; SystemException "Bad serial port setup
 * parameters". */
termios MakeTermios(const LineSettings& line);
