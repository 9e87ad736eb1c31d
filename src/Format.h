#pragma once

#include <string>

/** printf-style formatting into a string of any length. */
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

/** The bytes of the control character that stands there, 0 for none: below 32, 127, and, in UTF-8, U+0080 to
 * U+009F, whose number its second byte is. */
size_t ControlLength(const std::string& text, size_t position);

/** The text with the bytes of its control characters as \xNN: it can forge no line and move no cursor. */
std::string Printable(const std::string& text);
