// Records: the binary form and the CSV form, parsed as they come and converted into each other.

#include "AppConfig.h"
#include "DataConverter.h"
#include "Defaults.h"
#include "Fuzz.h"

namespace {

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
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes input(data, data + size);
    const byte choice = TakeByte(input);
    AppConfig::Clear();
    AppConfig::SetParameter("Delimiter", (choice & 4) != 0 ? ";" : ",", false);
    DataConverter::Initialize((choice & 2) == 0 ? FileType_CSV : FileType_RAW);
    const bool isRecord = choice % 4 == 0 || choice % 4 == 3;  // or a line of the file
    const Bytes line = isRecord ? ToPc(input) : input;
    if (choice % 4 == 0) Require(std::count(line.begin(), line.end(), '\n') == 0, "a record is one line");
    const Bytes record = ToEcr(line);
    const Bytes convertedLine = ToPc(record);
    Require(convertedLine.empty() || ToEcr(convertedLine) == record,
            "a line and the line read back are the same record");
    return 0;
}
