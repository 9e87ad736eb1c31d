// Bitmaps: any file is refused or gives its rows, in memory that the file's size limits.

#include "BmpFile.h"
#include "Defaults.h"
#include "Fuzz.h"

/** Only the sanitizers have it; without them the memory that is asked for is not checked. */
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" [[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(
    void (*onAllocate)(const volatile void* memory, size_t size),
    void (*onFree)(const volatile void* memory));

namespace {

size_t largestAllocation = 0;

constexpr size_t smallAllocation = 8192;  // names, messages and the buffer of an open file

bool WatchAllocations() {
    return __sanitizer_install_malloc_and_free_hooks != nullptr &&
           __sanitizer_install_malloc_and_free_hooks(
               [](const volatile void*, size_t size) {
                   largestAllocation = std::max(largestAllocation, size);
               },
               [](const volatile void*) {}) != 0;
}

using Rows = std::vector<Bytes>;

/** All rows of a file; nothing when it is refused. */
Rows ReadRows(const std::string& path) {
    BmpFileReader reader;
    Rows rows;
    Catch([&] {
        reader.Open(path);
        char row[fileIoBufferSize];
        while (const int length = reader.Read(static_cast<int>(rows.size()), row, sizeof row)) {
            Require(length > 0 && length <= fileIoBufferSize / 8, "a row has at most 1024 pixels");
            Require(rows.empty() || static_cast<size_t>(length) == rows[0].size(), "rows have one length");
            rows.emplace_back(row, row + length);
        }
    });
    return rows;
}

void WriteRows(const std::string& path, const Rows& rows) {
    BmpFileWriter writer;
    writer.Open(path);
    for (const Bytes& row : rows)
        writer.Write(reinterpret_cast<const char*>(row.data()), static_cast<int>(row.size()));
    writer.Close();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool isWatching = WatchAllocations();
    const ScratchFile file(Bytes(data, data + size));
    largestAllocation = 0;
    {
        BmpFileReader reader;
        Catch([&] { reader.Open(file.Path()); });
    }
    Require(!isWatching || largestAllocation <= std::max(size, smallAllocation),
            "no more is allocated than the file holds");

    const Rows rows = ReadRows(file.Path());
    if (rows.empty()) return 0;
    WriteRows(file.Path(), rows);
    Require(ReadRows(file.Path()) == rows, "rows written are read again");
    return 0;
}
