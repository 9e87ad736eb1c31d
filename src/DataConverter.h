#pragma once

#include <cstdint>

#include "Byte.h"
#include "Files/RecordFile.h"
#include "Formatting/DataFormatter.h"
#include "Formatting/DataParser.h"

/**
 * Records between their form in a file and the ECR's binary form. A CSV line is converted field by field, a
 * raw or bitmap record is one binary field. Lengths are in bytes; 0 means that the record cannot be
 * converted.
 */
class DataConverter {
public:
    /** Sets the kind of file that the following conversions are for. */
    static void Initialize(FileType pcFileType);

    /** Converts the next field, which is of the given type; false when it cannot be. */
    static bool ConvertField(FieldType type, DataParser& inData, DataFormatter& outData);
    /** Converts all fields that are left. */
    static bool Convert(DataParser& inData, DataFormatter& outData);
    static uint16_t PcToEcr(const byte* pcData, uint16_t pcDataLen, byte* ecrBuffer, uint16_t ecrBufferLen);
    /** The remaining fields of a record that the caller has begun to parse. */
    static uint16_t PcToEcr(DataParser& pcData, byte* ecrBuffer, uint16_t ecrBufferLen);
    static uint16_t EcrToPc(const byte* ecrData, uint16_t ecrDataLen, byte* pcBuffer, uint16_t pcBufferLen);

private:
    static bool m_isText;
    static char m_delimiter;
};
