#pragma once

#include <sys/types.h>

#include <string>

#include "System/Descriptor.h"

/** Whether somebody keeps lines from being appended to the log: a run waits 0.2 s for him, and goes on. */
bool IsLogLocked(const std::string& path);

/** A log that a run appends lines to and can cut back to the size that it had before; docs/results.md, "The
 * log". */
class LogFile {
public:
    LogFile() = default;
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    ~LogFile();

    /**
     * Opens the file for appending and creates its directory (one level) if it is missing. Only a regular
     * file with one name is taken, and a link only from root or from the user who runs: FileIoException.
     * SystemException when the directory cannot be made.
     */
    void Open(const std::string& path);
    bool IsOpened() const;
    /** Appends "day.month.year hour:minute:second.ms " if addTime, the message and a line feed, in one write.
     */
    void AddMessage(const std::string& message, bool addTime);
    /** Closes the file; unless save, what this run appended is cut off if nothing follows it. An empty file
     * is deleted. */
    void Close(bool save);

private:
    static std::string GetCurrentTime();

    /** False, with nothing written, when another run has left the file empty and deleted it since. */
    bool Append(const std::string& line, bool evenIfDeleted);
    /** Takes the file, as it is now; a handle of -1 changes nothing. */
    void Take(int handle);

    Descriptor m_file;
    std::string m_filePath;
    off_t m_originalFileSize = 0;
    off_t m_appendedSize = 0;  // by this run
};
