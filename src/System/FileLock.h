#pragma once

#include <sys/stat.h>

#include <string>

#include "System/Descriptor.h"

/**
 * Keeps other runs from working on a file for as long as it lives. It locks (flock) another file, beside it
 * and there for that time only, which those can open who may write the file: a lock on the file itself could
 * be taken by anybody who may read it. The file itself gets a shared lock, for runs that can only lock it.
 */
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    /** Locks the file, whose handle and status these are; false when another run has it. One that has several
     * names, and one beside which this user can make no file, is locked itself (F_OFD_SETLK).
     * FileIoException for a file in the lock's place that cannot be opened. */
    bool Take(const std::string& filename, int file, const struct stat& status);

    /** The path of the file beside it, where one can be locked. */
    static std::string GetPath(const std::string& filename, const struct stat& status);

private:
    /** Opens the file beside it, and locks it if it can; false where this user can make no file. */
    bool Open(const struct stat& status);
    bool Make(const struct stat& status);

    std::string m_path;
    Descriptor m_lock;
};
