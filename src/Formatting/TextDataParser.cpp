#include "Formatting/TextDataParser.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "AppConfig.h"
#include "OLVE_Compatibility.h"

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

FieldType TypeOf(const char* field) {
    if (field[0] == '"') return FieldType_String;
    if (field[0] == '0' && field[1] == 'x') return FieldType_Binary;
    if (IsDigit(field[0]) || field[0] == '-') return FieldType_Number;
    return FieldType_Unknown;
}

}  // namespace

char ConfiguredDelimiter() { return AppConfig::Get(settings::delimiter)[0]; }

TextDataParser::TextDataParser(const byte* data, uint16_t dataLen, char delimiter)
    : DataParser(data, dataLen), m_fieldDelimiter(delimiter) {}

GetFieldResult TextDataParser::GetField(char* buf, uint16_t bufLen, bool peek) {
    buf[0] = '\0';
    if (m_position >= m_dataLen) return GetFieldResult_EndOfData;

    bool inQuotes = false;
    uint16_t length = 0;
    uint16_t position = m_position;
    for (; position < m_dataLen; position++) {
        const char c = static_cast<char>(m_dataBuf[position]);
        if (c == m_fieldDelimiter && !inQuotes) break;
        if (c == '"') {
            const bool isDoubled = inQuotes && position + 1 < m_dataLen && m_dataBuf[position + 1] == '"';
            if (isDoubled)
                position++;
            else
                inQuotes = !inQuotes;
        }
        buf[length++] = c;
        // a NUL would end the copy early and drop the rest of the field
        if (length == bufLen || c == '\0') {
            m_refusal = c == '\0' ? FieldRefusal::HasNul : FieldRefusal::TooLong;
            buf[0] = '\0';
            return GetFieldResult_Error;
        }
    }
    buf[length] = '\0';
    if (length > 0 && (IsBlank(buf[0]) || IsBlank(buf[length - 1]))) StrTrim(buf, " \t");
    m_isQuoteOpen = inQuotes;
    if (!peek) m_position = position < m_dataLen ? static_cast<uint16_t>(position + 1) : m_dataLen;
    return GetFieldResult_OK;
}

void TextDataParser::LookAhead() {
    if (m_hasField && m_fieldStart == m_position) return;
    m_refusal = FieldRefusal::None;
    m_fieldStart = m_position;
    GetField(m_field, sizeof m_field, false);  // empty when it cannot be had
    m_fieldEnd = m_position;
    m_position = m_fieldStart;
    m_hasField = true;
    if (m_refusal == FieldRefusal::None && TypeOf(m_field) == FieldType_Unknown)
        m_refusal = m_field[0] == '\0' ? FieldRefusal::Empty : FieldRefusal::UnknownKind;
}

std::string TextDataParser::GetFieldText() const {
    const char* line = reinterpret_cast<const char*>(m_dataBuf);
    const bool isDelimited =
        m_fieldEnd > m_fieldStart && !m_isQuoteOpen && line[m_fieldEnd - 1] == m_fieldDelimiter;
    return {line + m_fieldStart, line + m_fieldEnd - (isDelimited ? 1 : 0)};
}

bool TextDataParser::Check(bool isTaken, FieldRefusal refusal) {
    if (!isTaken) m_refusal = refusal;
    return isTaken;
}

FieldType TextDataParser::GetFieldType() {
    if (m_position >= m_dataLen) return FieldType_None;
    LookAhead();
    return TypeOf(m_field);
}

const char* TextDataParser::TakeField(FieldType type) {
    LookAhead();
    if (TypeOf(m_field) != type) return nullptr;
    m_position = m_fieldEnd;
    return m_field;
}

bool TextDataParser::GetString(char* buf, uint16_t bufLen) {
    const char* field = TakeField(FieldType_String);
    if (field == nullptr) return false;
    // The last character is taken for the closing quote, whatever it is: "ab"c reads as ab".
    const size_t fieldLength = std::strlen(field);
    if (!Check(fieldLength >= 2, FieldRefusal::NotClosed)) return false;
    if (!Check(bufLen > fieldLength - 2, FieldRefusal::TooLong)) return false;
    std::memcpy(buf, field + 1, fieldLength - 2);
    buf[fieldLength - 2] = '\0';
    return Check(IsValidString(buf), FieldRefusal::Control);
}

bool TextDataParser::GetNumber(Decimal& num) {
    const char* field = TakeField(FieldType_Number);
    return field != nullptr && Check(StringToDecimal(field, 0, num), FieldRefusal::NoNumber);
}

bool TextDataParser::GetBinary(byte* buf, uint16_t bufLen, uint16_t& dataLen) {
    dataLen = 0;
    const char* field = TakeField(FieldType_Binary);
    if (field == nullptr) return false;
    const size_t fieldLength = std::strlen(field);
    if (!Check(fieldLength % 2 == 0, FieldRefusal::OddDigits)) return false;
    dataLen = static_cast<uint16_t>((fieldLength - 2) / 2);
    if (!Check(bufLen >= dataLen, FieldRefusal::TooLong)) return false;
    for (uint16_t i = 0; i < dataLen; i++) {
        // digits are not validated: a pair without one gives 00
        const char pair[] = {field[2 + 2 * i], field[3 + 2 * i], '\0'};
        buf[i] = static_cast<byte>(std::strtoul(pair, nullptr, 16));
    }
    return true;
}

size_t LineLength(const char* text, size_t available, size_t maxLength) {
    const size_t scanned = std::min(available, maxLength);
    if (scanned == 0) return 0;
    const void* newline = std::memchr(text, '\n', scanned);
    return newline == nullptr ? scanned : static_cast<size_t>(static_cast<const char*>(newline) - text) + 1;
}

size_t TrimmedLength(const char* line, size_t length) {
    while (length > 0 && std::strchr(" \t\r\n", line[length - 1]) != nullptr && line[length - 1] != '\0')
        length--;
    return length;
}

std::optional<int64_t> KeyOfLine(const char* line, size_t length, char delimiter) {
    TextDataParser parser(reinterpret_cast<const byte*>(line), static_cast<uint16_t>(length), delimiter);
    const FieldType firstField = parser.GetFieldType();
    if (firstField == FieldType_Unknown) return std::nullopt;
    if (firstField != FieldType_Number) return 0;
    Decimal number;
    if (!parser.GetNumber(number)) return std::nullopt;
    if (parser.GetFieldType() == FieldType_None) return 0;
    const int64_t key = number.ToInt64();
    return key == -1 ? std::nullopt : std::optional(key);
}
