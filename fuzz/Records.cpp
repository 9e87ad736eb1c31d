// Records: the binary form and the CSV form, parsed as they come and converted into each other.

#include "AppConfig.h"
#include "DataConverter.h"
#include "Decimal.h"
#include "Defaults.h"
#include "Formatting/BinaryDataParser.h"
#include "Fuzz.h"

namespace {

constexpr size_t longestRawRecord = 128;  // 64 in a raw file, a row of 1024 pixels in a bitmap

Bytes ToEcr(const Bytes& line) {
    Bytes record(commIoBufferSize);
    record.resize(DataConverter::PcToEcr(line.data(), static_cast<uint16_t>(line.size()), record.data(),
                                         commIoBufferSize));
    return record;
}

Bytes ToPc(const Bytes& record) {
    Bytes line(fileIoBufferSize);
    line.resize(DataConverter::EcrToPc(record.data(), static_cast<uint16_t>(record.size()), line.data(),
                                       fileIoBufferSize));
    line.shrink_to_fit();
    return line;
}

/** The fields of a record, comparable: a number without the zeros at its end, which a CSV line drops. */
std::vector<std::string> FieldsOf(const Bytes& record) {
    BinaryDataParser parser(record.data(), static_cast<uint16_t>(record.size()));
    std::vector<std::string> fields;
    for (;;) {
        char text[commIoBufferSize];
        byte bytes[commIoBufferSize];
        uint16_t length = 0;
        Decimal number;
        if (parser.GetString(text, sizeof text)) {
            fields.push_back(std::string("text ") + text);
        } else if (parser.GetNumber(number)) {
            number.Normalize();
            fields.push_back("number " + number.ToString());
        } else if (parser.GetBinary(bytes, sizeof bytes, length)) {
            fields.push_back("binary " + std::string(bytes, bytes + length));
        } else {
            Require(parser.GetFieldType() == FieldType_None, "a converted record has no malformed field");
            return fields;
        }
    }
}

void CheckBinaryRecord(const Bytes& record) {
    const Bytes line = ToPc(record);
    if (line.empty()) return;
    Require(std::find_if(line.begin(), line.end(), [](byte c) { return c == '\r' || c == '\n' || c == 0; }) ==
                line.end(),
            "a record is one line");
    const Bytes converted = ToEcr(line);
    if (!converted.empty())
        Require(FieldsOf(converted) == FieldsOf(record), "a record comes back with the same fields");
}

void CheckLine(const Bytes& line) {
    const Bytes record = ToEcr(line);
    if (record.empty()) return;
    FieldsOf(record);
    const Bytes convertedLine = ToPc(record);
    if (!convertedLine.empty())
        Require(ToEcr(convertedLine) == record, "a line and the line read back are the same record");
}

void CheckRawRecord(const Bytes& raw) {
    DataConverter::Initialize(FileType_RAW);
    if (!raw.empty()) Require(ToPc(ToEcr(raw)) == raw, "a raw record comes back as it was");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const byte choice = input.TakeByte();
    AppConfig::Clear();
    if ((choice & 4) != 0) AppConfig::SetParameter("Delimiter", ";", false);
    DataConverter::Initialize(FileType_CSV);
    switch (choice & 3) {
        case 0: CheckBinaryRecord(input.TakeRest()); break;
        case 1: CheckLine(input.TakeRest()); break;
        case 2: CheckRawRecord(input.Take(longestRawRecord)); break;
        default: {
            // a register's raw record is whatever it sends
            DataConverter::Initialize(FileType_RAW);
            const Bytes raw = ToPc(input.TakeRest());
            Require(raw.size() <= 255, "a raw record is one binary field");
        }
    }
    return 0;
}
