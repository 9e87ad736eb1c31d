#include "LogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "Exceptions.h"
#include "Format.h"
#include "Path.h"
#include "Tools.h"

namespace {

/** Keeps other runs from cutting or deleting the log for as long as it lives; gives up on one that is stuck.
 */
class LogLock {
public:
    explicit LogLock(int file) : m_file(file) {
        constexpr int maxTries = 200;
        const timespec pause{0, 1'000'000};
        for (int i = 0; i < maxTries && flock(m_file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; i++)
            nanosleep(&pause, nullptr);
    }
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;
    ~LogLock() { flock(m_file, LOCK_UN); }

private:
    int m_file;
};

/**
 * The umask for a new log: a folder that a group shares (setgid, and the group may write it) has logs that
 * the group may write, or the run of one user would shut out those of the others.
 */
mode_t MaskFor(const std::string& path, mode_t mask) {
    struct stat folder {};
    constexpr mode_t shared = S_ISGID | S_IWGRP;
    const std::string directory = Path::GetDirectoryName(path);
    const bool isShared = stat(directory.c_str(), &folder) == 0 && (folder.st_mode & shared) == shared;
    return isShared ? mask & ~static_cast<mode_t>(S_IRGRP | S_IWGRP) : mask;
}

struct stat StatusOf(int file) {
    struct stat status {};
    fstat(file, &status);
    return status;
}

}  // namespace

LogFile::~LogFile() { Close(true); }

void LogFile::Open(const std::string& path) {
    if (IsOpened()) throw new InternalException(__FILE__, __LINE__);
    const std::string directory = Path::GetDirectoryName(path);
    // another run may make it at the same moment
    if (!directory.empty() && !Directory::Exists(directory) && !Directory::Create(directory) &&
        !Directory::Exists(directory))
        throw new SystemException("Log file directory create failed");
    OpenForAppending(path);
    if (!IsOpened()) throw new FileIoException("Can't open file '" + path + "'");
    m_filePath = path;
}

void LogFile::OpenForAppending(const std::string& path) {
    const mode_t mask = umask(0);
    umask(MaskFor(path, mask));
    m_file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    umask(mask);
    if (!IsOpened()) return;
    m_originalFileSize = StatusOf(m_file).st_size;
    m_appendedSize = 0;
}

bool LogFile::IsOpened() const { return m_file != -1; }

void LogFile::AddMessage(const std::string& message, bool addTime) {
    if (!IsOpened()) throw new InternalException(__FILE__, __LINE__);
    const std::string line = (addTime ? GetCurrentTime() + " " : "") + message + "\n";
    if (IsDeleted()) ReopenIfPossible();
    const LogLock lock(m_file);
    const ssize_t written = write(m_file, line.data(), line.size());
    if (written > 0) m_appendedSize += written;
}

bool LogFile::IsDeleted() const {
    const LogLock lock(m_file);
    return StatusOf(m_file).st_nlink == 0;
}

void LogFile::ReopenIfPossible() {
    const int deleted = m_file;
    OpenForAppending(m_filePath);
    // without a file of that name to be had the lines go on into the deleted one; a log is no reason to fail
    if (IsOpened())
        close(deleted);
    else
        m_file = deleted;
}

void LogFile::Close(bool save) {
    if (!IsOpened()) return;
    {
        const LogLock lock(m_file);
        // grown past what this run wrote: cutting would take another run's lines, too
        const bool isAlone = StatusOf(m_file).st_size == m_originalFileSize + m_appendedSize;
        [[maybe_unused]] const int result = !save && isAlone ? ftruncate(m_file, m_originalFileSize) : 0;
        const struct stat status = StatusOf(m_file);
        if (status.st_size == 0 && status.st_nlink > 0) File::Delete(m_filePath);
    }
    close(m_file);
    m_file = -1;
}

std::string LogFile::GetCurrentTime() {
    tagSYSTEMTIME now{};
    GetLocalTime(&now);
    return Format("%02d.%02d.%04d %02d:%02d:%02d.%03d", now.wDay, now.wMonth, now.wYear, now.wHour,
                  now.wMinute, now.wSecond, now.wMilliseconds);
}
