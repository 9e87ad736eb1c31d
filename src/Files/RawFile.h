#pragma once

#include <string>

#include "Files/RecordFile.h"
#include "Files/SourceFile.h"

/** Records of exactly 64 bytes one after another; the last one may be shorter. */
class RawFileReader : public FileReader {
public:
    FileType GetType() override;
    void Open(const std::string& filename) override;
    int Read(int recordNumber, char* buffer, int bufferSize) override;
    int GetCount() const override;
    void Close() override;
    void CheckUnchanged() const override;

private:
    SourceFile ioFile;
};

/** Records as they are given, with nothing added. */
class RawFileWriter : public FileWriter {
public:
    FileType GetType() override;
    void Open(const std::string& filename) override;
    void Write(const char* data, int length) override;
    void Close() override;
};
