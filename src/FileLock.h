#pragma once

#include <sys/stat.h>

#include <string>

#include "Descriptor.h"

/**
 * Keeps other runs from working on a file for as long as it lives. What is locked (flock) is a file of its
 * own, beside it and there for that time only, which those can open who may write the file: a lock on the
 * file itself anybody could take who may read it.
 */
class FileLock {
public:
    FileLock() = default;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

    /** Locks the file, whose handle and status these are; false when another run has it. Where this user can
     * make no file beside it, it is locked itself; a file system without locks is no reason to fail. */
    bool Take(const std::string& filename, int file, const struct stat& status);

    /** The path of what is locked for a file. */
    static std::string GetPath(const std::string& filename, const struct stat& status);

private:
    bool Make(const struct stat& status);

    std::string m_path;
    Descriptor m_lock;
};
