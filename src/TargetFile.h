#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

/**
 * A data file that is written. A regular one is locked (flock) for as long as the object lives, so that two
 * runs cannot share it. Failures are FileIoExceptions; a file that is freed without Close has what was
 * written so far, but nobody is told of a failure.
 */
class TargetFile {
public:
    TargetFile() = default;
    TargetFile(const TargetFile&) = delete;
    TargetFile& operator=(const TargetFile&) = delete;
    ~TargetFile();

    /** Has Open keep the content of a regular file as "FILE~", on its device, before it is emptied. */
    void KeepFormerContent() { m_isFormerKept = true; }
    /** Creates or empties the file. */
    void Open(const std::string& filename);
    /** From Open to Close. */
    bool IsOpened() const { return m_handle != -1 && !m_isClosed; }
    void Write(const void* data, size_t size);
    /** Brings all that was written to the device; the file stays locked. */
    void Close();
    /**
     * After Close: whether a regular file stands under its name as it was written, byte for byte. A new one's
     * folder is brought to the device, too.
     */
    void CheckInPlace() const;

private:
    void CopyFormerContent() const;
    void Flush();

    int m_handle = -1;
    std::string m_filename;
    bool m_isClosed = false;
    bool m_isFormerKept = false;
    bool m_isNew = false;
    struct stat m_opened {};
    std::string m_buffer;  // written and not yet handed to the system
    uint64_t m_size = 0;   // bytes written
    uint64_t m_hash = 0;   // of them
};
