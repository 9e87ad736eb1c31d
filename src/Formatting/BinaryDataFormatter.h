#pragma once

#include "Formatting/DataFormatter.h"

/** The ECR's record encoding, written; a field may fill the buffer exactly. docs/protocol.md, "Records". */
class BinaryDataFormatter : public DataFormatter {
public:
    BinaryDataFormatter(byte* buf, uint16_t bufLen);

    bool AddNumber(const Decimal& num) override;
    bool AddString(const char* str) override;
    /** The length byte holds the low 8 bits of dataLen; callers keep fields within 255 bytes. */
    bool AddBinary(const byte* data, uint16_t dataLen) override;

private:
    bool HasRoom(size_t size) const;
};
