#include "CsvFile.h"

#include "AppConfig.h"
#include "Defaults.h"
#include "FileErrors.h"
#include "Logging.h"

FileType CsvFileReaderImpl::GetType() { return FileType_CSV; }

bool CsvFileReaderImpl::HasRecord(int recordNumber) const { return recordNumber < lineIndex.GetCount(); }

/** Every entry has a number, but for a heading that may stand at the top. */
bool CsvFileReaderImpl::IsSortable() const {
    if (AppConfig::GetParameter("SortInputFileLines", defaultSortInputFileLines) == 0) return false;
    for (int i = 1; i < lineIndex.GetCount(); i++)
        if (lineIndex.At(i).lineKey == 0) return false;
    return lineIndex.GetCount() >= 2;
}

void CsvFileReaderImpl::Open(const std::string& filename) {
    lineIndex.Build(filename, FileErrors::AddEmptyRecord, FileErrors::AddBadFormatRecord);
    if (!IsSortable()) return;
    if (!lineIndex.IsSorted()) {
        LogMsg(LogType_Debug, "Input data file sorting started", true);
        lineIndex.SortRange(0, lineIndex.GetCount() - 1);
        LogMsg(LogType_Debug, "Input data file sorting finished", true);
    }
    lineIndex.RemoveDuplicates(FileErrors::AddDuplicateRecord);
}

int CsvFileReaderImpl::Read(int recordNumber, char* buffer, int bufferSize) {
    return HasRecord(recordNumber) ? lineIndex.ReadLine(recordNumber, buffer, bufferSize) : 0;
}

void CsvFileReaderImpl::Close() { lineIndex.Clear(); }

int CsvFileReaderImpl::GetLineNumber(int recordNumber) {
    return HasRecord(recordNumber) ? lineIndex.At(recordNumber).lineNumber : -1;
}

FileType CsvFileWriter::GetType() { return FileType_CSV; }

void CsvFileWriter::Write(const char* data, int length) {
    RawFileWriter::Write(data, length);
    RawFileWriter::Write("\r\n", 2);
}
