#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Formatting/DataParser.h"

enum GetFieldResult { GetFieldResult_OK = 0, GetFieldResult_EndOfData = 1, GetFieldResult_Error = 2 };

/** Why a field is not taken. */
enum class FieldRefusal {
    None,
    TooLong,
    HasNul,
    Empty,
    UnknownKind,
    NotClosed,
    Control,
    NoNumber,
    OddDigits
};

/** The first character of the setting "Delimiter"; to be asked for once a file. */
char ConfiguredDelimiter();

/** A CSV line, read; docs/files.md, "A record in a CSV file". */
class TextDataParser : public DataParser {
public:
    /** Characters of a field as they stand in the line. */
    static constexpr uint16_t maxFieldLength = 128;

    /** data is the line without its line end. */
    TextDataParser(const byte* data, uint16_t dataLen, char delimiter);

    bool GetNumber(Decimal& num) override;
    bool GetString(char* buf, uint16_t bufLen) override;
    bool GetBinary(byte* buf, uint16_t bufLen, uint16_t& dataLen) override;
    FieldType GetFieldType() override;

    /** The next field as it stands, trimmed of blanks and tabs, NUL-terminated; peek leaves the position. */
    GetFieldResult GetField(char* buf, uint16_t bufLen, bool peek);

    /** Of the field that was looked at or taken last: why it was refused, and where it stands, blanks
     * included. */
    FieldRefusal GetRefusal() const { return m_refusal; }
    size_t GetFieldStart() const { return m_fieldStart; }
    std::string GetFieldText() const;
    /** Whether a quote in it is not closed; its text is taken all the same. */
    bool IsQuoteOpen() const { return m_isQuoteOpen; }

private:
    /** Reads the next field, once however often it is asked for. */
    void LookAhead();
    /** The next field, behind which the position then is, if it is of this type; else null. */
    const char* TakeField(FieldType type);
    /** Returns whether the field is taken, and keeps why it is not. */
    bool Check(bool isTaken, FieldRefusal refusal);

    char m_fieldDelimiter;
    FieldRefusal m_refusal = FieldRefusal::None;
    bool m_isQuoteOpen = false;
    bool m_hasField = false;  // the one that begins at m_fieldStart
    uint16_t m_fieldStart = 0;
    uint16_t m_fieldEnd = 0;  // where the one behind it begins
    char m_field[maxFieldLength + 1];
};

/** Characters of a line, without its newline; what may follow in it counts as the next line. */
inline constexpr size_t maxLineLength = 1023;

/** Length of the line that begins at text, its newline included, as far as it is available. */
size_t LineLength(const char* text, size_t available, size_t maxLength = maxLineLength);

/** Length without trailing blanks, tabs and line ends. */
size_t TrimmedLength(const char* line, size_t length);

/** The number that a record line is sorted by, 0 for one that has none; nothing for a malformed line. */
std::optional<int64_t> KeyOfLine(const char* line, size_t length, char delimiter);
