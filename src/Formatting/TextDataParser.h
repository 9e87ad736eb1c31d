#pragma once

#include "Formatting/DataParser.h"

enum GetFieldResult { GetFieldResult_OK = 0, GetFieldResult_EndOfData = 1, GetFieldResult_Error = 2 };

/** A CSV line, read; docs: README, "Records in a CSV file". The delimiter is the setting "Delimiter". */
class TextDataParser : public DataParser {
public:
    /** data is the line without its line end. */
    TextDataParser(const byte* data, uint16_t dataLen);

    bool GetNumber(Decimal& num) override;
    bool GetString(char* buf, uint16_t bufLen) override;
    bool GetBinary(byte* buf, uint16_t bufLen, uint16_t& dataLen) override;
    FieldType GetFieldType() override;

    /** The next field as it stands, trimmed of blanks and tabs, NUL-terminated; peek leaves the position. */
    GetFieldResult GetField(char* buf, uint16_t bufLen, bool peek);

private:
    /** A field has at most 128 characters as they stand in the line. */
    static constexpr uint16_t fieldBufferSize = 129;

    /** Reads the next field, once however often it is asked for. */
    void LookAhead();
    /** The next field, behind which the position then is, if it is of this type; else null. */
    const char* TakeField(FieldType type);

    char m_fieldDelimiter;
    bool m_hasField = false;  // the one that begins at m_fieldStart
    uint16_t m_fieldStart = 0;
    uint16_t m_fieldEnd = 0;  // where the one behind it begins
    char m_field[fieldBufferSize];
};
