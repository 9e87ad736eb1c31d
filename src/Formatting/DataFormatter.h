#pragma once

#include <cstddef>
#include <cstdint>

#include "Byte.h"
#include "Decimal.h"

/** Appends fields to one record in a buffer that the caller owns; false when a field does not fit. */
class DataFormatter {
public:
    DataFormatter(byte* buf, uint16_t bufLen) : m_dataBuf(buf), m_dataBufLen(bufLen) {}
    virtual ~DataFormatter() = default;

    virtual bool AddNumber(const Decimal& num) = 0;
    virtual bool AddString(const char* str) = 0;
    virtual bool AddBinary(const byte* data, uint16_t dataLen) = 0;
    virtual uint16_t GetLength();

protected:
    void Append(byte value) { m_dataBuf[m_dataLen++] = value; }
    void Append(const void* data, size_t size);

    byte* m_dataBuf;
    uint16_t m_dataBufLen;
    uint16_t m_dataLen = 0;
};
