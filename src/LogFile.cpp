#include "LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

#include "Exceptions.h"
#include "Format.h"
#include "Path.h"
#include "Tools.h"

namespace {

/**
 * A lock of the log for as long as it lives (F_OFD_SETLK). Lines are appended under shared ones (F_RDLCK),
 * and cut off under an exclusive one (F_WRLCK), which only those can take who may write the log: whoever may
 * read it can hold no line up.
 */
class LogLock {
public:
    LogLock(int file, short kind, int maxTries) : m_file(file) {
        const timespec pause{0, 1'000'000};
        while (!(m_isTaken = Set(kind)) && --maxTries > 0) nanosleep(&pause, nullptr);
    }
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;
    ~LogLock() { Set(F_UNLCK); }
    /** False when somebody else keeps it. */
    bool IsTaken() const { return m_isTaken; }

private:
    /** A file system without locks, and a log that may not be read, are no reason to fail. */
    bool Set(short kind) const {
        struct flock lock {};
        lock.l_type = kind;
        return fcntl(m_file, F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
    }

    int m_file;
    bool m_isTaken = false;
};

/** To lock the log, 1 ms apart; one after a failure, as who keeps it so long is stuck. */
int lockTries = 200;

/** Held while a line is appended. */
class SharedLogLock : public LogLock {
public:
    explicit SharedLogLock(int file) : LogLock(file, F_RDLCK, lockTries) {
        if (!IsTaken()) lockTries = 1;
    }
};

/** The rights of a folder that a group shares (setgid, and the group may write it); 0 for any other. */
mode_t RightsOfSharedFolder(const std::string& path) {
    struct stat folder {};
    constexpr mode_t shared = S_ISGID | S_IWGRP;
    const bool isShared = stat(path.c_str(), &folder) == 0 && (folder.st_mode & shared) == shared;
    return isShared ? folder.st_mode & 07777 : 0;
}

/** The umask for a new log: in a shared folder the group may write it, or the run of one user would shut out
 * those of the others. */
mode_t MaskFor(const std::string& path, mode_t mask) {
    const bool isShared = RightsOfSharedFolder(Path::GetDirectoryName(path)) != 0;
    return isShared ? mask & ~static_cast<mode_t>(S_IRGRP | S_IWGRP) : mask;
}

/**
 * Makes the last level of a folder, as shared as the one that it is in; another run may make it at the same
 * moment. It is not sticky: the user who rotates the logs is another one. Nothing sets the setgid bit here,
 * which a unit's sandbox may forbid: a folder has it from the one that it is in.
 */
bool MakeFolder(const std::string& path) {
    const mode_t rights = RightsOfSharedFolder(Path::GetDirectoryName(TrimRight(path, "/")));
    if (rights == 0) return Directory::Create(path) || Directory::Exists(path);
    const mode_t mask = umask(0);
    const bool isMade = mkdir(path.c_str(), rights & ACCESSPERMS) == 0;
    umask(mask);
    return isMade || Directory::Exists(path);
}

struct stat StatusOf(int file) {
    struct stat status {};
    fstat(file, &status);
    return status;
}

/** The target of a link that root or this user has made; empty for anything else. */
std::string TargetOfOwnLink(const std::string& path) {
    const int link = open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (link == -1) return "";
    const struct stat status = StatusOf(link);
    char target[PATH_MAX];
    const bool isOwn = S_ISLNK(status.st_mode) && (status.st_uid == 0 || status.st_uid == geteuid());
    // of the link that was looked at, whatever stands under its name now
    const ssize_t length = isOwn ? readlinkat(link, "", target, sizeof target) : -1;
    close(link);
    if (length <= 0 || length == sizeof target) return "";
    const std::string text(target, static_cast<size_t>(length));
    return text[0] == '/' ? text : path.substr(0, path.rfind('/') + 1) + text;
}

/**
 * Opens a log, or makes it. It does not wait for the other side of a FIFO, and follows no link of another
 * user, who may be able to write the folder. The creation is a call of its own, as some systems let nobody
 * "create" another user's file in a sticky folder. -1 when it cannot be opened.
 */
int OpenWithoutFollowing(std::string path) {
    constexpr int maxTries = 8;  // links one after another, and other runs that make or delete the log
    const timespec pause{0, 25'000'000};
    constexpr int flags = O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    for (int i = 0; i < maxTries && !path.empty(); i++) {
        int file = open(path.c_str(), flags | O_RDWR);
        if (file == -1 && errno == EACCES) file = open(path.c_str(), flags | O_WRONLY);
        if (file == -1 && errno == ENOENT) file = open(path.c_str(), flags | O_RDWR | O_CREAT | O_EXCL, 0666);
        if (file != -1) return file;
        if (errno == ELOOP)
            path = TargetOfOwnLink(path);
        else if (errno == EACCES)
            nanosleep(&pause, nullptr);  // whoever makes it anew may not have given it its rights yet
        else if (errno != EEXIST)
            break;
    }
    return -1;
}

/** Any other thing under a log's name is a trap: a second name of another file, a FIFO, a device. */
bool IsPlainFile(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink <= 1;
}

/** Opens a log, or makes it, for appending; -1 when there is none to be had. */
int OpenForAppending(const std::string& path) {
    const mode_t mask = umask(0);
    umask(MaskFor(path, mask));
    Descriptor file(OpenWithoutFollowing(path));
    umask(mask);
    return IsPlainFile(file.Get()) ? file.Release() : -1;
}

}  // namespace

bool IsLogLocked(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct flock lock {};
    lock.l_type = F_RDLCK;
    return fcntl(file.Get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

LogFile::~LogFile() { Close(true); }

void LogFile::Open(const std::string& path) {
    if (IsOpened()) throw new InternalException(__FILE__, __LINE__);
    const std::string directory = Path::GetDirectoryName(path);
    if (!directory.empty() && !Directory::Exists(directory) && !MakeFolder(directory))
        throw new SystemException("Log file directory create failed");
    Take(OpenForAppending(path));
    if (!IsOpened()) throw new FileIoException("Can't open file '" + Printable(path) + "'", path);
    m_filePath = path;
}

void LogFile::Take(int handle) {
    if (handle == -1) return;
    m_file.Reset(handle);
    m_originalFileSize = StatusOf(handle).st_size;
    m_appendedSize = 0;
}

bool LogFile::IsOpened() const { return m_file.IsOpen(); }

void LogFile::AddMessage(const std::string& message, bool addTime) {
    if (!IsOpened()) throw new InternalException(__FILE__, __LINE__);
    const std::string line = (addTime ? GetCurrentTime() + " " : "") + message + "\n";
    if (Append(line, false)) return;
    // without a file of that name to be had the lines go on into the deleted one; a log is no reason to fail
    Take(OpenForAppending(m_filePath));
    Append(line, true);
}

bool LogFile::Append(const std::string& line, bool evenIfDeleted) {
    const SharedLogLock lock(m_file.Get());
    struct stat status {};
    if (!evenIfDeleted && fstat(m_file.Get(), &status) == 0 && status.st_nlink == 0) return false;
    const ssize_t written = write(m_file.Get(), line.data(), line.size());
    if (written > 0) m_appendedSize += written;
    return true;
}

void LogFile::Close(bool save) {
    if (!IsOpened()) return;
    const bool isToBeCut = !save && m_appendedSize > 0;
    // given up after 5 ms, as whoever may read the log can keep the lock: then the lines stay, and the next
    // run deletes a log that is empty
    constexpr int maxTries = 5;
    if (const LogLock lock(m_file.Get(), F_WRLCK, isToBeCut ? maxTries : 1); lock.IsTaken()) {
        // grown past what this run wrote: cutting would take another run's lines, too
        const bool isAlone = StatusOf(m_file.Get()).st_size == m_originalFileSize + m_appendedSize;
        [[maybe_unused]] const int result =
            isToBeCut && isAlone ? ftruncate(m_file.Get(), m_originalFileSize) : 0;
        const struct stat own = StatusOf(m_file.Get());
        struct stat found {};
        const bool isInPlace = lstat(m_filePath.c_str(), &found) == 0 && File::IsSame(found, own);
        if (own.st_size == 0 && isInPlace) File::Delete(m_filePath);
    }
    m_file.Reset();
}

std::string LogFile::GetCurrentTime() {
    tagSYSTEMTIME now{};
    GetLocalTime(&now);
    return Format("%02d.%02d.%04d %02d:%02d:%02d.%03d", now.wDay, now.wMonth, now.wYear, now.wHour,
                  now.wMinute, now.wSecond, now.wMilliseconds);
}
