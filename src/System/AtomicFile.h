#pragma once

#include <sys/stat.h>

#include <string>

#include "System/Descriptor.h"

/** Files that are there as a whole or not at all: made under another name, brought to the device, renamed. */

/** What the names of files begin with that are there for the time of a run only. */
inline constexpr const char* passingPrefix = ".tavo~";

/** A file that is deleted unless it is released. */
class TemporaryFile {
public:
    /** In the folder of the given file. */
    explicit TemporaryFile(const std::string& neighbour);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    /** -1 when it could not be made. */
    int Get() const { return m_file.Get(); }
    /** Closes it under another name. */
    bool RenameTo(const std::string& path);

private:
    std::string m_path;
    Descriptor m_file;
};

/** Deletes what killed runs of this user have left in the file's folder more than a day ago. */
void RemoveLeftovers(const std::string& neighbour);

/** The rights of a file that is made in the place of another one, or beside it: those of a regular file of
 * this user, but no special bits; otherwise those of any new file, as they may be planted. */
mode_t GetRightsLike(const struct stat& former);

/** Without links and dots; empty for a path that leads nowhere. */
std::string GetRealPath(const std::string& path);

/** Writes all of it; false with errno set when that fails. */
bool WriteAll(int handle, const char* data, size_t size);

/** Brings the entry of the file in its folder to the device. */
bool FlushFolderOf(const std::string& filename);

/** FileIoException unless a file can be made there, and does not take the place of a device or pipe. */
void CheckPlace(const std::string& filename);

/** Puts a file of this content in the place of the one that may be there, with rights like its. A link is
 * replaced, not followed. FileIoException, as CheckPlace, or when that fails: the former one is still there
 * then, but for a folder that cannot be flushed. */
void ReplaceFile(const std::string& filename, const std::string& content);
