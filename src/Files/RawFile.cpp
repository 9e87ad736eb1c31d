#include "Files/RawFile.h"

#include <algorithm>

namespace {

constexpr int rawRecordSize = 64;

}  // namespace

FileType RawFileReader::GetType() { return FileType_RAW; }

void RawFileReader::Open(const std::string& filename) { ioFile.Open(filename); }

int RawFileReader::Read(int recordNumber, char* buffer, int bufferSize) {
    const auto size = static_cast<size_t>(std::min(rawRecordSize, bufferSize));
    return static_cast<int>(ioFile.Read(off_t{recordNumber} * rawRecordSize, buffer, size));
}

int RawFileReader::GetCount() const {
    return static_cast<int>((ioFile.GetSize() + rawRecordSize - 1) / rawRecordSize);
}

void RawFileReader::Close() { ioFile.Close(); }

void RawFileReader::CheckUnchanged() const { ioFile.CheckUnchanged(); }

FileType RawFileWriter::GetType() { return FileType_RAW; }

void RawFileWriter::Open(const std::string& filename) { ioFile.Open(filename); }

void RawFileWriter::Write(const char* data, int length) { ioFile.Write(data, static_cast<size_t>(length)); }

void RawFileWriter::Close() { ioFile.Close(); }
