#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Byte.h"
#include "Defaults.h"
#include "Exceptions.h"
#include "RecordFile.h"

/**
 * The file that a Send, a Delete or an ExecuteFiscal works through, as records in the ECR's form. Problems
 * with single lines are counted and reported by FileErrors. Needs no ECR.
 */
class InputFile {
public:
    /** Opens the file for a transfer into section dataType; FileIoException when that fails. */
    void OpenRecords(int dataType, const std::string& filename);
    /** Opens a CSV file of fiscal commands and checks all of them; ApplicationException when one is none. */
    void OpenCommands(const std::string& filename);
    void Close();

    FileType GetType() const { return m_reader->GetType(); }
    /** Line of the file that the record came from, 0 for files without lines. */
    int GetLineNumber(int recordNumber) const;

    /** Makes the record current; false past the end. */
    bool Read(int recordNumber);
    /** Converts the current record into a buffer of commIoBufferSize; 0 for a bad one, which is then
     * reported. */
    uint16_t Convert(byte* ecrRecord) const;
    /** The same for a fiscal command, which OpenCommands has found good: its code, and the length of its
     * data. */
    uint16_t ConvertCommand(byte& code, byte* ecrData) const;

private:
    void CheckCommands();
    const byte* Bytes() const { return reinterpret_cast<const byte*>(m_record); }

    std::unique_ptr<FileReader> m_reader;
    char m_record[fileIoBufferSize] = {};  // the current one, as the file holds it
    uint16_t m_length = 0;
    int m_recordNumber = 0;
};

/** The exit status that the problems counted in FileErrors stand for. */
ReturnCode StatusOfFileErrors();
