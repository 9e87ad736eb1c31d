#include "OLVE_Compatibility.h"

#include <cstring>
#include <string>

#include "Wrapper/LinuxFunctionWrapper.h"

bool StringToDecimal(const char* str, byte, Decimal& dec) { return dec.FromString(str); }

bool DecimalToString(char* str, byte strLen, const Decimal& dec) {
    const std::string text = dec.ToString();
    if (text.size() >= strLen) return false;
    strcpy_s(str, strLen, text.c_str());
    return true;
}

char* StrTrim(char* str, const char* charsToTrim) {
    const char* first = str + std::strspn(str, charsToTrim);
    size_t length = std::strlen(first);
    while (length > 0 && std::strchr(charsToTrim, first[length - 1]) != nullptr) length--;
    std::memmove(str, first, length);
    str[length] = '\0';
    return str;
}
