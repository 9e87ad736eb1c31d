#pragma once

#include <string>

/** printf-style formatting into a string of any length. */
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

/** Writes a user message to standard output as it stands and flushes it at once. */
void Print(const std::string& text);
