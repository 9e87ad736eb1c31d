#pragma once

#include <cstddef>
#include <string>

#include "Files/TargetFile.h"

/** Kinds of data files; FileIo.cpp has what depends on them. docs/files.md. */
enum FileType {
    FileType_CSV = 0,  // text, one record a line
    FileType_BMP = 1,  // 1-bit bitmap, one record a pixel row
    FileType_RAW = 2   // binary, 64-byte records
};
inline constexpr size_t fileTypeCount = FileType_RAW + 1;

/** A data file seen as records, which are read by their number in any order. Freeing it closes the file. */
class FileReader {
public:
    virtual ~FileReader() = default;
    virtual FileType GetType() = 0;
    /** FileIoException when the file cannot be opened, read or used. */
    virtual void Open(const std::string& filename) = 0;
    /** Copies record recordNumber (from 0) and returns its length in bytes; 0 when there is no such record.
     */
    virtual int Read(int recordNumber, char* buffer, int bufferSize) = 0;
    /** How many records can be read; not each of them may be one that can be sent. */
    virtual int GetCount() const = 0;
    virtual void Close() = 0;
    /** FileIoException when the file has been changed since it was opened. */
    virtual void CheckUnchanged() const = 0;
};

/** A data file that records are appended to. Freeing it closes the file, but only Close tells of a failed
 * write. */
class FileWriter {
public:
    virtual ~FileWriter() = default;
    virtual FileType GetType() = 0;
    /** Creates or truncates the file; FileIoException when that fails. */
    virtual void Open(const std::string& filename) = 0;
    /** Appends one record; FileIoException when it cannot be written. */
    virtual void Write(const char* data, int length) = 0;
    /** Completes the file and brings it to the device; FileIoException when any of it could not be written.
     */
    virtual void Close() = 0;

    /** See TargetFile. */
    void KeepFormerContent() { ioFile.KeepFormerContent(); }
    void CheckInPlace() const { ioFile.CheckInPlace(); }

protected:
    TargetFile ioFile;
};
