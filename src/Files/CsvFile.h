#pragma once

#include <string>

#include "Files/RawFile.h"
#include "Files/RecordFile.h"
#include "Files/TextFileLineIndex.h"

/** A text file whose records can be named by their line. */
class CsvFileReader : public FileReader {
public:
    /** 1-based line that the record came from; -1 past the end. */
    virtual int GetLineNumber(int recordNumber) = 0;
};

/**
 * Records in ascending order of their numbers, each number once (the last line of the file that has it),
 * unless "SortInputFileLines" is 0 or a line after the first has no number. Bad lines are counted in
 * FileErrors.
 */
class CsvFileReaderImpl : public CsvFileReader {
public:
    CsvFileReaderImpl() = default;
    /** inFileOrder: as "SortInputFileLines" of 0, whatever it is. */
    explicit CsvFileReaderImpl(bool inFileOrder) : m_inFileOrder(inFileOrder) {}

    FileType GetType() override;
    void Open(const std::string& filename) override;
    int Read(int recordNumber, char* buffer, int bufferSize) override;
    int GetCount() const override;
    void Close() override;
    void CheckUnchanged() const override;
    int GetLineNumber(int recordNumber) override;

private:
    bool HasRecord(int recordNumber) const;
    bool IsNumbered() const;
    bool IsSortable() const;

    TextFileLineIndex lineIndex;
    bool m_inFileOrder = false;
};

/** One record a line, ended by CR LF. */
class CsvFileWriter : public RawFileWriter {
public:
    FileType GetType() override;
    void Write(const char* data, int length) override;
};
