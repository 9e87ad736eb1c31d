#include "RawFile.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int rawRecordSize = 64;

}  // namespace

FileType RawFileReader::GetType() { return FileType_RAW; }

void RawFileReader::Open(const std::string& filename) {
    ioFile = OpenInputFile(filename);
    m_filename = filename;
}

int RawFileReader::Read(int recordNumber, char* buffer, int bufferSize) {
    const auto size = static_cast<size_t>(std::min(rawRecordSize, bufferSize));
    if (fseeko(ioFile.get(), off_t{recordNumber} * rawRecordSize, SEEK_SET) != 0) ThrowReadError(m_filename);
    const size_t length = std::fread(buffer, 1, size, ioFile.get());
    if (std::ferror(ioFile.get()) != 0) ThrowReadError(m_filename);
    return static_cast<int>(length);
}

void RawFileReader::Close() { ioFile.reset(); }

FileType RawFileWriter::GetType() { return FileType_RAW; }

void RawFileWriter::Open(const std::string& filename) {
    ioFile = OpenFile(filename, "wb");
    m_filename = filename;
}

void RawFileWriter::Write(const char* data, int length) {
    const auto size = static_cast<size_t>(length);
    if (std::fwrite(data, 1, size, ioFile.get()) != size) ThrowWriteError(m_filename);
}

void RawFileWriter::Close() {
    if (ioFile) CloseOutputFile(std::move(ioFile), m_filename);
}
