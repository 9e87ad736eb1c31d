#pragma once

#include "Formatting/DataParser.h"

/** Tag byte that opens a field of a binary record; docs/protocol.md, "Records". */
enum BinaryFieldType : byte {
    BinaryFieldType_Text = 11,
    BinaryFieldType_Integer = 12,
    BinaryFieldType_Decimal = 13,
    BinaryFieldType_Binary = 14
};

/** The ECR's record encoding, read; docs/protocol.md, "Records". */
class BinaryDataParser : public DataParser {
public:
    BinaryDataParser(const byte* data, uint16_t dataLen);

    bool GetNumber(Decimal& num) override;
    bool GetString(char* buf, uint16_t bufLen) override;
    bool GetBinary(byte* buf, uint16_t bufLen, uint16_t& dataLen) override;
    FieldType GetFieldType() override;

    static FieldType ToFieldType(BinaryFieldType type);
    /** Index of the last character of a text whose characters begin at start: start - 1 for an empty one. */
    uint16_t GetStringEndPos(uint16_t start) const;
};
