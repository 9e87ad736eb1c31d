#include "DataConverter.h"

#include <cstring>

#include "Defaults.h"
#include "FileIo.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Formatting/BinaryDataParser.h"
#include "Formatting/TextDataFormatter.h"
#include "Formatting/TextDataParser.h"

namespace {

constexpr uint16_t fieldBufferSize = 128;

}  // namespace

bool DataConverter::m_isText = true;
char DataConverter::m_delimiter = *defaultCsvDelimiter;

void DataConverter::Initialize(FileType pcFileType) {
    m_isText = KindOf(pcFileType).isText;
    m_delimiter = ConfiguredDelimiter();
}

bool DataConverter::ConvertField(FieldType type, DataParser& inData, DataFormatter& outData) {
    char text[fieldBufferSize];
    byte bytes[fieldBufferSize];
    uint16_t size = 0;
    Decimal number;
    switch (type) {
        case FieldType_String: return inData.GetString(text, sizeof text) && outData.AddString(text);
        case FieldType_Number: return inData.GetNumber(number) && outData.AddNumber(number);
        case FieldType_Binary:
            return inData.GetBinary(bytes, sizeof bytes, size) && outData.AddBinary(bytes, size);
        default: return false;
    }
}

bool DataConverter::Convert(DataParser& inData, DataFormatter& outData) {
    for (;;) {
        const FieldType type = inData.GetFieldType();
        if (type == FieldType_None) return true;
        if (!ConvertField(type, inData, outData)) return false;
    }
}

uint16_t DataConverter::PcToEcr(const byte* pcData, uint16_t pcDataLen, byte* ecrBuffer,
                                uint16_t ecrBufferLen) {
    if (m_isText) {
        TextDataParser parser(pcData, pcDataLen, m_delimiter);
        return PcToEcr(parser, ecrBuffer, ecrBufferLen);
    }
    std::memset(ecrBuffer, 0, ecrBufferLen);
    BinaryDataFormatter formatter(ecrBuffer, ecrBufferLen);
    return formatter.AddBinary(pcData, pcDataLen) ? formatter.GetLength() : uint16_t{0};
}

uint16_t DataConverter::PcToEcr(DataParser& pcData, byte* ecrBuffer, uint16_t ecrBufferLen) {
    std::memset(ecrBuffer, 0, ecrBufferLen);
    BinaryDataFormatter formatter(ecrBuffer, ecrBufferLen);
    return Convert(pcData, formatter) ? formatter.GetLength() : uint16_t{0};
}

uint16_t DataConverter::EcrToPc(const byte* ecrData, uint16_t ecrDataLen, byte* pcBuffer,
                                uint16_t pcBufferLen) {
    std::memset(pcBuffer, 0, pcBufferLen);
    BinaryDataParser parser(ecrData, ecrDataLen);
    if (m_isText) {
        TextDataFormatter formatter(pcBuffer, pcBufferLen, m_delimiter);
        return Convert(parser, formatter) ? formatter.GetLength() : uint16_t{0};
    }
    uint16_t dataLen = 0;
    const bool isOneField =
        parser.GetBinary(pcBuffer, pcBufferLen, dataLen) && parser.GetFieldType() == FieldType_None;
    return isOneField ? dataLen : uint16_t{0};
}
