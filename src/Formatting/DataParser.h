#pragma once

#include <cstdint>

#include "Byte.h"
#include "Decimal.h"

/** Kind of the next field of a record, in every encoding. */
enum FieldType {
    FieldType_None = 0,  // no more fields
    FieldType_String = 1,
    FieldType_Number = 2,
    FieldType_Binary = 3,
    FieldType_Unknown = 4
};

/**
 * Reads the fields of one record, in order, from a buffer that the caller owns.
 * Every operation returns false for a field of another kind, a buffer that is too small or a malformed field.
 */
class DataParser {
public:
    DataParser(const byte* data, uint16_t dataLen) : m_dataBuf(data), m_dataLen(dataLen) {}
    virtual ~DataParser() = default;

    virtual bool GetNumber(Decimal& num) = 0;
    /** Text with a terminating NUL in at most bufLen bytes. */
    virtual bool GetString(char* buf, uint16_t bufLen) = 0;
    virtual bool GetBinary(byte* buf, uint16_t bufLen, uint16_t& dataLen) = 0;
    virtual FieldType GetFieldType() = 0;

    /** True when no character is a control character, that is below 31. */
    static bool IsValidString(const char* str);

protected:
    const byte* m_dataBuf;
    uint16_t m_dataLen;
    uint16_t m_position = 0;  // of the next field's first byte
};
