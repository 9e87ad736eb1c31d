#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "System/Descriptor.h"
#include "System/FileLock.h"

/**
 * A data file that is written. A regular one is locked for as long as the object lives, so that two
 * runs cannot share it. What is written is handed to the system at once. Failures are FileIoExceptions.
 */
class TargetFile {
public:
    /** Has Open keep the content of a regular file as "FILE~", on its device, before it is emptied. */
    void KeepFormerContent() { m_isFormerKept = true; }
    /** Has Open give a regular file to this user alone, and refuse one that is another user's. */
    void KeepPrivate() { m_isPrivate = true; }
    /** Creates or empties the file; called again, empties the same one, whatever the name. */
    void Open(const std::string& filename);
    /** From Open to Close. */
    bool IsOpened() const { return m_isOpened; }
    void Write(const void* data, size_t size);
    /** Brings all that was written to the device; the file stays locked. */
    void Close();
    /** After Close: a regular file has to stand under its name as it was written, byte for byte. Brings the
     * name to the device, too. */
    void CheckInPlace() const;

private:
    void OpenAndLock();
    void CopyFormerContent() const;

    Descriptor m_file;
    FileLock m_lock;
    std::string m_filename;
    bool m_wasOpened = false;  // before: it is locked, and its former content kept, where that is to be
    bool m_isOpened = false;
    bool m_isFormerKept = false;
    bool m_isPrivate = false;
    struct stat m_status {};
    uint64_t m_size = 0;  // bytes written
    uint64_t m_hash = 0;  // of them
};
