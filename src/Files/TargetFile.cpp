#include "Files/TargetFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "Exceptions.h"
#include "Format.h"
#include "System/AtomicFile.h"
#include "System/FileStream.h"
#include "System/Interrupt.h"
#include "Tools.h"

namespace {

constexpr uint64_t emptyHash = 0xCBF29CE484222325U;

/** FNV-1a, continued from hash. */
uint64_t Hash(uint64_t hash, const char* data, size_t size) {
    for (size_t i = 0; i < size; i++) hash = (hash ^ static_cast<unsigned char>(data[i])) * 0x100000001B3U;
    return hash;
}

/** Hands blocks of the file to visit until its end or until visit fails; false when either fails. */
template <class Visit>
bool ReadAll(int handle, Visit visit) {
    char block[16384];
    for (;;) {
        const ssize_t count = read(handle, block, sizeof block);
        if (count == 0) return true;
        if (count < 0 && errno != EINTR) return false;
        if (count < 0) CheckInterrupt();
        if (count > 0 && !visit(block, static_cast<size_t>(count))) return false;
    }
}

}  // namespace

void TargetFile::Open(const std::string& filename) {
    if (!m_wasOpened) {
        m_filename = filename;
        OpenAndLock();
    }
    m_wasOpened = true;
    m_size = 0;
    m_hash = emptyHash;
    m_isOpened = true;
    if (S_ISREG(m_status.st_mode) &&
        (ftruncate(m_file.Get(), 0) != 0 || lseek(m_file.Get(), 0, SEEK_SET) != 0))
        ThrowWriteError(filename);
}

void TargetFile::OpenAndLock() {
    // not emptied by the opening: it may be another run's. A pipe is opened for writing only, or it would
    // have a reader; a lock of a file wants the right to read it, too.
    struct stat found {};
    const bool isPlain = stat(m_filename.c_str(), &found) != 0 || S_ISREG(found.st_mode);
    const mode_t mode = m_isPrivate ? 0600 : 0666;
    m_file.Reset(open(m_filename.c_str(), (isPlain ? O_RDWR : O_WRONLY) | O_CREAT | O_CLOEXEC, mode));
    if (!m_file.IsOpen() && isPlain && errno == EACCES)
        m_file.Reset(open(m_filename.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, mode));
    if (!m_file.IsOpen()) ThrowOpenError(m_filename);
    if (fstat(m_file.Get(), &m_status) != 0) ThrowWriteError(m_filename);
    if (!S_ISREG(m_status.st_mode)) return;
    if (m_isPrivate && (m_status.st_uid != geteuid() || fchmod(m_file.Get(), 0600) != 0))
        ThrowOpenError(m_filename, EPERM);
    if (!m_lock.Take(m_filename, m_file.Get(), m_status))
        throw new FileIoException("File '" + Printable(m_filename) + "' is being written by another run",
                                  m_filename);
    // looked at again, as a run that had the lock may have written meanwhile
    if (fstat(m_file.Get(), &m_status) != 0) ThrowWriteError(m_filename);
    if (m_isFormerKept) CopyFormerContent();
}

void TargetFile::CopyFormerContent() const {
    const Descriptor source(open(m_filename.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat found {};
    if (!source.IsOpen() || fstat(source.Get(), &found) != 0) ThrowReadError(m_filename);
    if (!File::IsSame(found, m_status)) ThrowReadError(m_filename, 0);
    if (m_status.st_size == 0) return;
    // made new and renamed: whatever stands under the name is replaced, never written into
    const std::string kept = m_filename + "~";
    TemporaryFile copy(m_filename);
    uint64_t size = 0;
    errno = 0;  // a file that becomes shorter meanwhile is no call that fails
    const bool isCopied = copy.Get() != -1 &&
                          fchmod(copy.Get(), GetRightsLike(m_status) & m_status.st_mode) == 0 &&
                          ReadAll(source.Get(),
                                  [&](const char* data, size_t count) {
                                      size += count;
                                      return WriteAll(copy.Get(), data, count);
                                  }) &&
                          size == static_cast<uint64_t>(m_status.st_size) && fsync(copy.Get()) == 0 &&
                          copy.RenameTo(kept) && FlushFolderOf(kept);
    if (!isCopied) ThrowWriteError(kept);
}

void TargetFile::Write(const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    if (!WriteAll(m_file.Get(), bytes, size)) ThrowWriteError(m_filename);
    m_size += size;
    m_hash = Hash(m_hash, bytes, size);
}

void TargetFile::Close() {
    if (!m_isOpened) return;
    m_isOpened = false;
    // only a regular file has a device to wait for; on a terminal, a pipe or /dev/null fsync is an error
    if (S_ISREG(m_status.st_mode) && fsync(m_file.Get()) != 0) ThrowWriteError(m_filename);
    // a file system may tell of a failed write only where a descriptor is closed; this one has the lock
    const int another = fcntl(m_file.Get(), F_DUPFD_CLOEXEC, 0);
    if (another == -1 || close(another) != 0) ThrowWriteError(m_filename);
}

void TargetFile::CheckInPlace() const {
    if (!S_ISREG(m_status.st_mode)) return;
    const Descriptor file(open(m_filename.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat found {};
    uint64_t size = 0;
    uint64_t hash = emptyHash;
    const bool isInPlace = fstat(file.Get(), &found) == 0 && File::IsSame(found, m_status) &&
                           ReadAll(file.Get(),
                                   [&](const char* data, size_t count) {
                                       size += count;
                                       hash = Hash(hash, data, count);
                                       return size <= m_size;
                                   }) &&
                           size == m_size && hash == m_hash;
    if (!isInPlace)
        throw new FileIoException("File '" + Printable(m_filename) +
                                  "' is not as it was written, not cleared");
    if (!FlushFolderOf(m_filename)) ThrowWriteError(m_filename);
}
