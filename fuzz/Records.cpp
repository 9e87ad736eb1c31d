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

void CheckLine(const Bytes& line) {
    const Bytes record = ToEcr(line);
    const Bytes convertedLine = ToPc(record);
    if (!convertedLine.empty())
        Require(ToEcr(convertedLine) == record, "a line and the line read back are the same record");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes input(data, data + size);
    const byte choice = TakeByte(input);
    const int kind = choice % 4;
    AppConfig::Clear();
    if ((choice & 4) != 0) AppConfig::SetParameter("Delimiter", ";", false);
    DataConverter::Initialize(kind < 2 ? FileType_CSV : FileType_RAW);
    if (kind == 0) {
        const Bytes line = ToPc(input);
        Require(std::count(line.begin(), line.end(), '\n') == 0, "a record is one line");
        CheckLine(line);
    } else if (kind == 1) {
        CheckLine(input);
    } else if (kind == 2) {
        const Bytes raw = Take(input, 128);  // a row of 1024 pixels
        Require(raw.empty() || ToPc(ToEcr(raw)) == raw, "a raw record comes back as it was");
    } else {
        Require(ToPc(input).size() <= 255, "a raw record is one binary field");
    }
    return 0;
}
