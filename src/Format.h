#pragma once

#include <string>

/** printf-style formatting into a string of any length. */
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

/** The text with its control characters (below 32, and 127) as \xNN: it can forge no line and move no cursor.
 */
std::string Printable(const std::string& text);
