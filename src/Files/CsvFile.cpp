#include "Files/CsvFile.h"

#include "AppConfig.h"
#include "FileErrors.h"
#include "Logging.h"
#include "System/Output.h"

namespace {

/** The progress of the indexing. */
void ShowPreparing(bool begins) { ShowProgress(begins ? "Preparing data ..." : std::string(18, ' ')); }

}  // namespace

FileType CsvFileReaderImpl::GetType() { return FileType_CSV; }

bool CsvFileReaderImpl::HasRecord(int recordNumber) const { return recordNumber < lineIndex.GetCount(); }

/** Every entry has a number, but for a heading that may stand at the top. */
bool CsvFileReaderImpl::IsNumbered() const {
    for (int i = 1; i < lineIndex.GetCount(); i++)
        if (lineIndex.At(i).lineKey == 0) return false;
    return true;
}

bool CsvFileReaderImpl::IsSortable() const {
    return !m_inFileOrder && AppConfig::Get(settings::sortInputFileLines) != 0 && lineIndex.GetCount() >= 2 &&
           IsNumbered();
}

void CsvFileReaderImpl::Open(const std::string& filename) {
    lineIndex.Build(filename, FileErrors::AddEmptyRecord, FileErrors::AddBadFormatRecord, ShowPreparing);
    if (!IsSortable()) return;
    if (!lineIndex.IsSorted()) {
        LogMsg(LogType_Debug, "Input data file sorting started", true);
        lineIndex.SortRange(0, lineIndex.GetCount() - 1);
        LogMsg(LogType_Debug, "Input data file sorting finished", true);
    }
    // negative numbers are sorted to the front of a heading; nothing is then taken for a duplicate
    if (IsNumbered()) lineIndex.RemoveDuplicates(FileErrors::AddDuplicateRecord);
}

int CsvFileReaderImpl::Read(int recordNumber, char* buffer, int bufferSize) {
    if (!HasRecord(recordNumber)) return 0;
    const int length = lineIndex.ReadLine(recordNumber, buffer, bufferSize);
    if (length == 0) lineIndex.GetSource().ThrowChanged();  // no empty line is in the index
    return length;
}

int CsvFileReaderImpl::GetCount() const { return lineIndex.GetCount(); }

void CsvFileReaderImpl::Close() { lineIndex.Clear(); }

void CsvFileReaderImpl::CheckUnchanged() const { lineIndex.GetSource().CheckUnchanged(); }

int CsvFileReaderImpl::GetLineNumber(int recordNumber) {
    return HasRecord(recordNumber) ? lineIndex.At(recordNumber).lineNumber : -1;
}

FileType CsvFileWriter::GetType() { return FileType_CSV; }

void CsvFileWriter::Write(const char* data, int length) {
    const std::string line = std::string(data, static_cast<size_t>(length)) + "\r\n";
    RawFileWriter::Write(line.data(), static_cast<int>(line.size()));
}
