#include "Formatting/TextDataFormatter.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "OLVE_Compatibility.h"

namespace {

constexpr const char* hexDigits = "0123456789abcdef";

}  // namespace

TextDataFormatter::TextDataFormatter(byte* buf, uint16_t bufLen, char delimiter)
    : DataFormatter(buf, bufLen), m_fieldDelimiter(delimiter) {}

bool TextDataFormatter::HasRoom(size_t size) const { return m_dataLen + size < m_dataBufLen; }

bool TextDataFormatter::AddDelimiter() {
    if (m_dataLen == 0) return true;
    if (!HasRoom(1)) return false;
    Append(static_cast<byte>(m_fieldDelimiter));
    return true;
}

bool TextDataFormatter::AddNumber(const Decimal& num) {
    char text[32];
    if (!AddDelimiter() || !DecimalToString(text, sizeof text, num) || !HasRoom(std::strlen(text)))
        return false;
    Append(text, std::strlen(text));
    return true;
}

bool TextDataFormatter::AddString(const char* str) {
    const char* end = str + std::strlen(str);
    const auto quotes = static_cast<size_t>(std::count(str, end, '"'));
    if (!AddDelimiter() || !HasRoom(static_cast<size_t>(end - str) + quotes + 2)) return false;
    Append('"');
    for (; str != end; str++) {
        if (*str == '"') Append('"');
        Append(static_cast<byte>(*str));
    }
    Append('"');
    return true;
}

bool TextDataFormatter::AddBinary(const byte* data, uint16_t dataLen) {
    if (!AddDelimiter() || !HasRoom(2U * dataLen + 2)) return false;
    Append("0x", 2);
    for (uint16_t i = 0; i < dataLen; i++) {
        Append(static_cast<byte>(hexDigits[data[i] >> 4]));
        Append(static_cast<byte>(hexDigits[data[i] & 0x0F]));
    }
    return true;
}
