#include "Formatting/BinaryDataParser.h"

#include <cstring>

namespace {

constexpr int maxMagnitudeBytes = 8;

}  // namespace

BinaryDataParser::BinaryDataParser(const byte* data, uint16_t dataLen) : DataParser(data, dataLen) {}

FieldType BinaryDataParser::ToFieldType(BinaryFieldType type) {
    switch (type) {
        case BinaryFieldType_Text: return FieldType_String;
        case BinaryFieldType_Integer:
        case BinaryFieldType_Decimal: return FieldType_Number;
        case BinaryFieldType_Binary: return FieldType_Binary;
        default: return FieldType_Unknown;
    }
}

FieldType BinaryDataParser::GetFieldType() {
    if (m_position >= m_dataLen) return FieldType_None;
    return ToFieldType(static_cast<BinaryFieldType>(m_dataBuf[m_position]));
}

uint16_t BinaryDataParser::GetStringEndPos(uint16_t start) const {
    uint16_t end = start;
    while (end < m_dataLen && ToFieldType(static_cast<BinaryFieldType>(m_dataBuf[end])) == FieldType_Unknown)
        end++;
    return static_cast<uint16_t>(end - 1);
}

bool BinaryDataParser::GetString(char* buf, uint16_t bufLen) {
    if (GetFieldType() != FieldType_String) return false;
    const auto start = static_cast<uint16_t>(m_position + 1);
    const size_t length = GetStringEndPos(start) + 1U - start;
    if (bufLen <= length) return false;
    std::memcpy(buf, m_dataBuf + start, length);
    buf[length] = '\0';
    m_position = static_cast<uint16_t>(start + length);
    // a NUL inside the text is a control character too; taken as the end it would drop what follows
    return std::strlen(buf) == length && IsValidString(buf);
}

bool BinaryDataParser::GetNumber(Decimal& num) {
    if (GetFieldType() != FieldType_Number) return false;
    const bool isDecimal = m_dataBuf[m_position] == BinaryFieldType_Decimal;
    const int magnitude = m_position + (isDecimal ? 3 : 2);
    if (magnitude > m_dataLen) return false;
    const byte size = m_dataBuf[m_position + 1];
    if (size > maxMagnitudeBytes || magnitude + size > m_dataLen) return false;
    const byte form = isDecimal ? m_dataBuf[m_position + 2] : byte{0};  // bit 7 sign, bits 0-6 decimals
    num.Deserialize(m_dataBuf + magnitude, size, (form & 0x80) != 0, form & 0x7F);
    m_position = static_cast<uint16_t>(magnitude + size);
    return true;
}

bool BinaryDataParser::GetBinary(byte* buf, uint16_t bufLen, uint16_t& dataLen) {
    dataLen = 0;
    if (GetFieldType() != FieldType_Binary || m_position + 2 > m_dataLen) return false;
    dataLen = m_dataBuf[m_position + 1];
    if (bufLen < dataLen || m_position + 2 + dataLen > m_dataLen) return false;
    std::memcpy(buf, m_dataBuf + m_position + 2, dataLen);
    m_position = static_cast<uint16_t>(m_position + 2 + dataLen);
    return true;
}
