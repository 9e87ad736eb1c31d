#include "Format.h"

#include <cstdarg>
#include <cstdio>

#include "Byte.h"
#include "Wrapper/LinuxFunctionWrapper.h"

std::string Format(const char* format, ...) {
    std::string text(1024, '\0');
    va_list args;
    va_start(args, format);
    va_list secondPass;
    va_copy(secondPass, args);
    const int length = vsprintf_s(text.data(), text.size(), format, args);
    va_end(args);
    if (length >= 0 && static_cast<size_t>(length) >= text.size()) {
        text.resize(static_cast<size_t>(length) + 1);
        vsprintf_s(text.data(), text.size(), format, secondPass);
    }
    va_end(secondPass);
    text.resize(length < 0 ? 0 : static_cast<size_t>(length));
    return text;
}

size_t ControlLength(const std::string& text, size_t position) {
    const auto at = [&](size_t i) { return i < text.size() ? static_cast<byte>(text[i]) : byte{0}; };
    const unsigned first = at(position);
    const unsigned second = at(position + 1);
    if (first < 32 || first == 127) return 1;
    return first == 0xC2 && second >= 0x80 && second < 0xA0 ? 2 : 0;
}

std::string Printable(const std::string& text) {
    std::string printable;
    for (size_t i = 0; i < text.size();) {
        const size_t length = ControlLength(text, i);
        if (length == 0) printable += text[i++];
        for (const size_t end = i + length; i < end; i++)
            printable += Format("\\x%02x", static_cast<byte>(text[i]));
    }
    return printable;
}
