#include "Formatting/TextDataParser.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "AppConfig.h"
#include "Defaults.h"
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

TextDataParser::TextDataParser(const byte* data, uint16_t dataLen)
    : DataParser(data, dataLen),
      m_fieldDelimiter(AppConfig::GetParameter("Delimiter", defaultCsvDelimiter)[0]) {}

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
            buf[0] = '\0';
            return GetFieldResult_Error;
        }
    }
    buf[length] = '\0';
    if (length > 0 && (IsBlank(buf[0]) || IsBlank(buf[length - 1]))) StrTrim(buf, " \t");
    if (!peek) m_position = position < m_dataLen ? static_cast<uint16_t>(position + 1) : m_dataLen;
    return GetFieldResult_OK;
}

void TextDataParser::LookAhead() {
    if (m_hasField && m_fieldStart == m_position) return;
    m_fieldStart = m_position;
    GetField(m_field, sizeof m_field, false);  // empty when it cannot be had
    m_fieldEnd = m_position;
    m_position = m_fieldStart;
    m_hasField = true;
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
    if (fieldLength < 2 || bufLen <= fieldLength - 2) return false;
    std::memcpy(buf, field + 1, fieldLength - 2);
    buf[fieldLength - 2] = '\0';
    return IsValidString(buf);
}

bool TextDataParser::GetNumber(Decimal& num) {
    const char* field = TakeField(FieldType_Number);
    if (field == nullptr) return false;
    return StringToDecimal(field, 0, num);
}

bool TextDataParser::GetBinary(byte* buf, uint16_t bufLen, uint16_t& dataLen) {
    dataLen = 0;
    const char* field = TakeField(FieldType_Binary);
    if (field == nullptr) return false;
    const size_t fieldLength = std::strlen(field);
    if (fieldLength % 2 != 0) return false;
    dataLen = static_cast<uint16_t>((fieldLength - 2) / 2);
    if (bufLen < dataLen) return false;
    for (uint16_t i = 0; i < dataLen; i++) {
        // digits are not validated: a pair without one gives 00
        const char pair[] = {field[2 + 2 * i], field[3 + 2 * i], '\0'};
        buf[i] = static_cast<byte>(std::strtoul(pair, nullptr, 16));
    }
    return true;
}
