#include "Formatting/BinaryDataFormatter.h"

#include <cstring>

#include "Formatting/BinaryDataParser.h"

BinaryDataFormatter::BinaryDataFormatter(byte* buf, uint16_t bufLen) : DataFormatter(buf, bufLen) {}

bool BinaryDataFormatter::HasRoom(size_t size) const { return m_dataLen + size <= m_dataBufLen; }

bool BinaryDataFormatter::AddNumber(const Decimal& num) {
    byte magnitude[8];
    const byte size = num.GetDataByteCount();
    bool isNegative = false;
    byte decimalCount = 0;
    num.Serialize(magnitude, size, isNegative, decimalCount);
    const bool isDecimal = isNegative || decimalCount > 0;
    if (!HasRoom((isDecimal ? 3U : 2U) + size)) return false;

    Append(isDecimal ? BinaryFieldType_Decimal : BinaryFieldType_Integer);
    Append(size);
    if (isDecimal) Append(static_cast<byte>(decimalCount | (isNegative ? 0x80 : 0)));
    Append(magnitude, size);
    return true;
}

bool BinaryDataFormatter::AddString(const char* str) {
    const size_t length = std::strlen(str);
    if (!HasRoom(length + 1)) return false;
    Append(BinaryFieldType_Text);
    Append(str, length);
    return true;
}

bool BinaryDataFormatter::AddBinary(const byte* data, uint16_t dataLen) {
    if (!HasRoom(dataLen + 2U)) return false;
    Append(BinaryFieldType_Binary);
    Append(static_cast<byte>(dataLen));
    Append(data, dataLen);
    return true;
}
