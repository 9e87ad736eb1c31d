// A CSV file: each line has a number and the same text however it is come by.

#include "AppConfig.h"
#include "CsvFile.h"
#include "Defaults.h"
#include "Fuzz.h"

namespace {

constexpr size_t indexBlockSize = 65536;  // the index reads the file in blocks of this size

std::string LineOf(CsvFileReaderImpl& reader, int position) {
    char buffer[fileIoBufferSize];
    const int length = reader.Read(position, buffer, sizeof buffer);
    Require((length > 0) == (reader.GetLineNumber(position) > 0), "a line has text and a number");
    return {buffer, static_cast<size_t>(length)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes content(data, data + size);
    const byte options = TakeByte(content);
    AppConfig::Clear();
    AppConfig::SetParameter("SortInputFileLines", (options & 1) == 0 ? "1" : "0", false);
    if ((options & 2) != 0) AppConfig::SetParameter("Delimiter", ";", false);
    // blanks ahead, which are empty lines, move the first block's end into the input
    if ((options & 4) != 0) {
        content.insert(content.begin(), '\n');
        content.insert(content.begin(), indexBlockSize - content.size() / 2, ' ');
    }
    const std::string path = Scratch(content);

    CsvFileReaderImpl reader;
    reader.Open(path);
    std::vector<std::string> lines;
    for (std::string line; !(line = LineOf(reader, static_cast<int>(lines.size()))).empty();)
        lines.push_back(line);
    for (size_t i = lines.size(); i > 0; i--)  // the index keeps a window of the file
        Require(LineOf(reader, static_cast<int>(i - 1)) == lines[i - 1], "a line is the same read backwards");
    return 0;
}
