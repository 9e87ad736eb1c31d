// Bitmaps: any file is refused or gives its rows.

#include "BmpFile.h"
#include "Defaults.h"
#include "Fuzz.h"

namespace {

/** All rows of a file; nothing when it is refused. */
std::vector<Bytes> ReadRows(const std::string& path) {
    BmpFileReader reader;
    std::vector<Bytes> rows;
    Catch([&] {
        reader.Open(path);
        char row[fileIoBufferSize];
        while (const int length = reader.Read(static_cast<int>(rows.size()), row, sizeof row))
            rows.emplace_back(row, row + length);
    });
    return rows;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = Scratch(Bytes(data, data + size));
    const std::vector<Bytes> rows = ReadRows(path);
    if (rows.empty()) return 0;
    Require(rows[0].size() <= fileIoBufferSize / 8, "a row has at most 1024 pixels");
    BmpFileWriter writer;
    writer.Open(path);
    for (const Bytes& row : rows)
        writer.Write(reinterpret_cast<const char*>(row.data()), static_cast<int>(row.size()));
    writer.Close();
    Require(ReadRows(path) == rows, "rows written are read again");
    return 0;
}
