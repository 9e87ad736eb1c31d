#include "FileErrors.h"

#include <algorithm>

#include "Format.h"
#include "Logging.h"
#include "System/Output.h"

namespace {

int m_duplicateRecords = 0;
int m_emptyRecords = 0;
int m_badFormatRecords = 0;
int m_badDataRecords = 0;
int m_canNotUpdateRecord = 0;

bool areLinesKept = false;
std::vector<LineError> m_lines;

void Add(int& counter, const char* msg, int lineNumber, int fieldNumber = 0) {
    counter++;
    if (areLinesKept) m_lines.push_back({std::max(lineNumber, 0), std::max(fieldNumber, 0), msg});
    ShowMessage(msg, lineNumber);
}

}  // namespace

void FileErrors::AddDuplicateRecord(int lineNumber) {
    Add(m_duplicateRecords, "Record number is not unique", lineNumber);
}

void FileErrors::AddEmptyRecord(int lineNumber) { Add(m_emptyRecords, "Record is empty", lineNumber); }

void FileErrors::AddBadFormatRecord(int lineNumber) {
    Add(m_badFormatRecords, "Record has bad format", lineNumber);
}

void FileErrors::AddBadDataRecord(int lineNumber, int fieldNumber) {
    const std::string msg = fieldNumber >= 1 ? Format("Record field %d has invalid value", fieldNumber)
                                             : "Some record fields have invalid values";
    Add(m_badDataRecords, msg.c_str(), lineNumber, fieldNumber);
}

void FileErrors::AddCanNotUpdateRecord(int lineNumber) {
    Add(m_canNotUpdateRecord, "Record can not be updated", lineNumber);
}

int FileErrors::GetDuplicateRecordCount() { return m_duplicateRecords; }

int FileErrors::GetEmptyRecordCount() { return m_emptyRecords; }

int FileErrors::GetBadFormatRecordCount() { return m_badFormatRecords; }

int FileErrors::GetRejectedByEcrRecordCount() { return m_badDataRecords + m_canNotUpdateRecord; }

const std::vector<LineError>& FileErrors::GetLines() { return m_lines; }

void FileErrors::KeepLines() { areLinesKept = true; }

void FileErrors::Reset() {
    m_lines.clear();
    m_duplicateRecords = m_emptyRecords = m_badFormatRecords = m_badDataRecords = m_canNotUpdateRecord = 0;
}

std::vector<std::string> FileErrors::GetSummaries() {
    struct Summary {
        int count;
        const char* text;
    };
    const Summary summaries[] = {{m_duplicateRecords, "Found %d duplicate record(s)"},
                                 {m_emptyRecords, "Found %d empty record(s)"},
                                 {m_badFormatRecords, "Found %d bad format record(s)"},
                                 {GetRejectedByEcrRecordCount(), "%d record(s) rejected by ECR"}};
    std::vector<std::string> texts;
    for (const Summary& summary : summaries)
        if (summary.count > 0) texts.push_back(Format(summary.text, summary.count));
    return texts;
}

void FileErrors::Log() {
    for (const std::string& text : GetSummaries()) LogMsg(LogType_Both, text, true);
}

void ShowMessage(const char* msg, int lineNumber) {
    if (lineNumber <= 0) return;
    const std::string text = Format("Line %-5d - %-30s\n", lineNumber, msg);
    Print(text);
    LogMsg(LogType_Debug, text, true);
}
