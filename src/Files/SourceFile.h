#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

#include "System/Descriptor.h"

/**
 * A data file that is read by position and has to stay as it is from Open on. Another size or time of
 * modification is a FileIoException "File '...' was changed while it was being sent"; a file that is replaced
 * or removed is read on as it was opened.
 */
class SourceFile {
public:
    /** FileIoException when the file cannot be opened, is a folder, or has 2 GiB or more: positions in it
     * would not fit. */
    void Open(const std::string& filename);
    /** Fills data from the offset (bytes) on, with less than size only at the end of the file; the count. */
    size_t Read(off_t offset, void* data, size_t size) const;
    /** Size in bytes when it was opened. */
    off_t GetSize() const { return m_opened.st_size; }
    void CheckUnchanged() const;
    [[noreturn]] void ThrowChanged() const;
    [[noreturn]] void ThrowTooLarge() const;
    void Close();

private:
    Descriptor m_file;
    std::string m_filename;
    struct stat m_opened {};
};
