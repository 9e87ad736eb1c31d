#include "Format.h"

#include <cstdarg>
#include <cstdio>

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

std::string Printable(const std::string& text) {
    std::string printable;
    for (const char c : text) {
        const auto value = static_cast<unsigned char>(c);
        if (value < 32 || value == 127)
            printable += Format("\\x%02x", value);
        else
            printable += c;
    }
    return printable;
}
