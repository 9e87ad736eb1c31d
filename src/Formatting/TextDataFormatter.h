#pragma once

#include "Formatting/DataFormatter.h"
#include "Formatting/TextDataParser.h"

/**
 * A CSV line, written; docs/files.md, "A record in a CSV file".
 * A field is written only if one byte of the buffer stays free after it; the line is not NUL-terminated.
 */
class TextDataFormatter : public DataFormatter {
public:
    TextDataFormatter(byte* buf, uint16_t bufLen, char delimiter);

    bool AddNumber(const Decimal& num) override;
    bool AddString(const char* str) override;
    bool AddBinary(const byte* data, uint16_t dataLen) override;

    /** Nothing before the first field. It stays in the buffer when the field behind it does not fit. */
    bool AddDelimiter();

private:
    bool HasRoom(size_t size) const;

    char m_fieldDelimiter;
};
