#include "FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "AtomicFile.h"

namespace {

/** False when somebody else has it. */
bool TryToLock(int file) { return flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

bool IsDeleted(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_nlink == 0;
}

}  // namespace

std::string FileLock::GetPath(const std::string& filename, const struct stat& status) {
    // by number, as a file may have several names
    const std::unique_ptr<char, void (*)(void*)> path(realpath(filename.c_str(), nullptr), std::free);
    const std::string real = path ? path.get() : filename;
    return real.substr(0, real.rfind('/') + 1) + passingPrefix + "lock" + std::to_string(status.st_ino);
}

bool FileLock::Take(const std::string& filename, int file, const struct stat& status) {
    m_path = GetPath(filename, status);
    RemoveLeftovers(m_path);
    for (;;) {
        m_lock.Reset(open(m_path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!m_lock.IsOpen() && errno != ENOENT) return false;  // another user's, or not to be looked at
        if (!m_lock.IsOpen() && !Make(status)) {
            if (errno == EEXIST) continue;
            return TryToLock(file);
        }
        if (!TryToLock(m_lock.Get())) {
            m_lock.Reset();  // it is not to be deleted
            return false;
        }
        if (!IsDeleted(m_lock.Get())) return true;  // by the run that had it until now
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
    const bool isTheirs = (user == same && made.st_gid == status.st_gid) ||
                          fchown(m_lock.Get(), user, status.st_gid) == 0 ||
                          fchown(m_lock.Get(), same, status.st_gid) == 0;
    const mode_t writers = status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH);
    if (isTheirs) fchmod(m_lock.Get(), S_IRUSR | S_IWUSR | writers | writers << 1U);
    return true;
}

FileLock::~FileLock() {
    if (m_lock.IsOpen()) unlink(m_path.c_str());
}
