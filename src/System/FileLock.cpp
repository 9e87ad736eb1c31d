#include "System/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "System/AtomicFile.h"
#include "System/FileStream.h"

namespace {

/** False when somebody else has it; a file system without locks is no reason to fail. */
bool TryToLock(int file) { return flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

/** The same of the file that is worked on; who may only read it can refuse nobody a shared lock. */
bool TryToLockItself(int file, short kind) {
    struct flock lock {};
    lock.l_type = kind;
    return fcntl(file, F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
}

bool IsDeleted(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_nlink == 0;
}

}  // namespace

std::string FileLock::GetPath(const std::string& filename, const struct stat& status) {
    // by number, as the name of the file may leave no room for an ending
    const std::string real = GetRealPath(filename);
    return real.substr(0, real.rfind('/') + 1) + passingPrefix + "lock" + std::to_string(status.st_ino);
}

bool FileLock::Take(const std::string& filename, int file, const struct stat& status) {
    m_path = GetPath(filename, status);
    RemoveLeftovers(m_path);
    const bool hasOneName = status.st_nlink == 1;  // others may be in other folders
    if (!hasOneName || !Open(status)) return TryToLockItself(file, F_WRLCK);
    if (TryToLock(m_lock.Get()) && TryToLockItself(file, F_RDLCK)) return true;
    m_lock.Reset();  // it is not to be deleted
    return false;
}

bool FileLock::Open(const struct stat& status) {
    for (;;) {
        m_lock.Reset(open(m_path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!m_lock.IsOpen() && errno != ENOENT) ThrowOpenError(m_path);
        if (m_lock.IsOpen() || Make(status)) {
            // the run that had it may have deleted it since
            if (!TryToLock(m_lock.Get()) || !IsDeleted(m_lock.Get())) return true;
        } else if (errno != EEXIST) {
            return false;
        }
    }
}

bool FileLock::Make(const struct stat& status) {
    m_lock.Reset(open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!m_lock.IsOpen()) return false;
    // those who may write the file may read and write this one
    struct stat made {};
    fstat(m_lock.Get(), &made);
    constexpr auto same = static_cast<uid_t>(-1);
    const uid_t user = made.st_uid == status.st_uid ? same : status.st_uid;
    const bool isOfGroup = (user == same && made.st_gid == status.st_gid) ||
                           fchown(m_lock.Get(), user, status.st_gid) == 0 ||
                           fchown(m_lock.Get(), same, status.st_gid) == 0;
    const mode_t writers = status.st_mode & ((isOfGroup ? S_IWGRP : 0U) | S_IWOTH);
    fchmod(m_lock.Get(), S_IRUSR | S_IWUSR | writers | writers << 1U);
    return true;
}

FileLock::~FileLock() {
    if (m_lock.IsOpen()) unlink(m_path.c_str());
}
