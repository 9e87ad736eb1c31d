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

    /** The next field if it is of this type; else the position stays. */
    bool TakeField(FieldType type, char (&field)[fieldBufferSize]);

    char m_fieldDelimiter;
};
