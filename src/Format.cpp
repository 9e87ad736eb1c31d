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

void Print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}
