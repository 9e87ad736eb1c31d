#include "System/AtomicFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "System/FileStream.h"
#include "System/Interrupt.h"

namespace {

/** With the slash; empty for the current one. */
std::string GetFolderOf(const std::string& filename) { return filename.substr(0, filename.rfind('/') + 1); }

/** The rights of a file that takes the place of the one that is there, if one is. */
mode_t GetRights(const std::string& filename) {
    struct stat status {};
    // a renamed file would stand in the place of the device or pipe, for everybody
    if (stat(filename.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) ThrowWriteError(filename, 0);
    status = {};
    lstat(filename.c_str(), &status);  // a link is replaced by a file
    return GetRightsLike(status);
}

}  // namespace

mode_t GetRightsLike(const struct stat& former) {
    if (S_ISREG(former.st_mode) && former.st_uid == geteuid()) return former.st_mode & ACCESSPERMS;
    const mode_t mask = umask(0);
    umask(mask);
    return DEFFILEMODE & ~mask;
}

void RemoveLeftovers(const std::string& neighbour) {
    constexpr time_t day = 24L * 3600;
    const time_t yesterday = std::time(nullptr) - day;
    const std::string folder = GetFolderOf(neighbour);
    const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir(folder.empty() ? "." : folder.c_str()), closedir);
    while (const dirent* entry = list ? readdir(list.get()) : nullptr) {
        struct stat status {};
        const bool isOld = std::strncmp(entry->d_name, passingPrefix, std::strlen(passingPrefix)) == 0 &&
                           fstatat(dirfd(list.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                           S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
                           status.st_mtime < yesterday;
        if (!isOld) continue;
        // a lock's file is in use for as long as it is locked
        const Descriptor file(
            openat(dirfd(list.get()), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        // nor is it this one any more where another run has deleted it meanwhile
        if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0 && fstat(file.Get(), &status) == 0 &&
            status.st_nlink > 0)
            unlinkat(dirfd(list.get()), entry->d_name, 0);
    }
}

TemporaryFile::TemporaryFile(const std::string& neighbour)
    : m_path(GetFolderOf(neighbour) + passingPrefix + "XXXXXX") {
    RemoveLeftovers(neighbour);
    m_file.Reset(mkostemp(m_path.data(), O_CLOEXEC));
}

TemporaryFile::~TemporaryFile() {
    if (m_file.IsOpen()) unlink(m_path.c_str());
}

bool TemporaryFile::RenameTo(const std::string& path) {
    if (rename(m_path.c_str(), path.c_str()) != 0) return false;
    return m_file.Reset();
}

bool WriteAll(int handle, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t count = write(handle, data, size);
        if (count < 0 && errno != EINTR) return false;
        if (count < 0) CheckInterrupt();
        if (count <= 0) continue;
        data += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

std::string GetRealPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
    return real ? real.get() : "";
}

bool FlushFolderOf(const std::string& filename) {
    const Descriptor folder(open(GetFolderOf(GetRealPath(filename)).c_str(), O_RDONLY | O_CLOEXEC));
    // EINVAL: a file system that brings its folders to the device by itself
    return folder.IsOpen() && (fsync(folder.Get()) == 0 || errno == EINVAL);
}

void CheckPlace(const std::string& filename) {
    GetRights(filename);
    if (TemporaryFile(filename).Get() == -1) ThrowOpenError(filename);
}

void ReplaceFile(const std::string& filename, const std::string& content) {
    const mode_t rights = GetRights(filename);
    TemporaryFile file(filename);
    if (file.Get() == -1) ThrowOpenError(filename);
    if (!WriteAll(file.Get(), content.data(), content.size()) || fchmod(file.Get(), rights) != 0 ||
        fsync(file.Get()) != 0 || !file.RenameTo(filename) || !FlushFolderOf(filename))
        ThrowWriteError(filename);
}
