#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Byte.h"
#include "Defaults.h"
#include "Exceptions.h"
#include "FileIo.h"
#include "Files/RecordFile.h"
#include "Records/Record.h"

/** A fiscal command as the ECR takes it. */
struct FiscalCommand {
    byte code;
    Record data;
    int lineNumber;
};

/**
 * The file that a Send, a Delete or an ExecuteFiscal works through, as records in the ECR's form. Problems
 * with single lines are counted and reported by FileErrors. Needs no ECR.
 */
class InputFile {
public:
    /** Opens the file for a transfer into section dataType; FileIoException when that fails. */
    void OpenRecords(int dataType, const std::string& filename);
    /** Opens a CSV file of fiscal commands, checks all of them and keeps them; ApplicationException when one
     * is none. */
    void OpenCommands(const std::string& filename);
    /** FileIoException when the file has been changed since it was opened. */
    void CheckUnchanged() const { m_reader->CheckUnchanged(); }
    void Close();

    int GetCount() const { return m_reader->GetCount(); }
    const FileKind& GetKind() const { return KindOf(m_reader->GetType()); }
    /** Line of the file that the record came from, 0 for files without lines. */
    int GetLineNumber(int recordNumber) const;

    /** Makes the record current; false past the end. */
    bool Read(int recordNumber);
    /** Converts the current record into a buffer of commIoBufferSize; 0 for a bad one, which is then
     * reported. */
    uint16_t Convert(byte* ecrRecord) const;
    /** The same without a report. */
    uint16_t TryToConvert(byte* ecrRecord) const;

    /** What OpenCommands has found, in the order of the file. */
    const std::vector<FiscalCommand>& GetCommands() const { return m_commands; }

private:
    void TakeCommand();
    const byte* Bytes() const { return reinterpret_cast<const byte*>(m_record); }

    std::unique_ptr<FileReader> m_reader;
    char m_record[fileIoBufferSize] = {};  // the current one, as the file holds it
    uint16_t m_length = 0;
    int m_recordNumber = 0;
    std::vector<FiscalCommand> m_commands;
    char m_delimiter = '\0';  // of the commands
};

/** The exit status that the problems counted in FileErrors stand for. */
ReturnCode StatusOfFileErrors();
