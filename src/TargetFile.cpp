#include "TargetFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <new>

#include "Exceptions.h"
#include "FileStream.h"
#include "Format.h"
#include "Interrupt.h"

namespace {

constexpr size_t readSize = 65536;
constexpr size_t writeSize = 4096;

/** A descriptor that closes itself. */
class Descriptor {
public:
    explicit Descriptor(int handle) : m_handle(handle) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Close(); }
    int Get() const { return m_handle; }
    bool Close() {
        const int handle = m_handle;
        m_handle = -1;
        return handle != -1 && close(handle) == 0;
    }

private:
    int m_handle;
};

/** FNV-1a, continued from hash. */
uint64_t Hash(uint64_t hash, const char* data, size_t size) {
    for (size_t i = 0; i < size; i++) hash = (hash ^ static_cast<unsigned char>(data[i])) * 0x100000001B3U;
    return hash;
}

/** Writes all of it; false with errno set when that fails. */
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

/** Hands blocks of the file to visit until its end or until visit fails; false when either fails. */
template <class Visit>
bool ReadAll(int handle, Visit visit) {
    std::string block(readSize, '\0');
    for (;;) {
        const ssize_t count = read(handle, block.data(), block.size());
        if (count == 0) return true;
        if (count < 0 && errno != EINTR) return false;
        if (count < 0) CheckInterrupt();
        if (count > 0 && !visit(block.data(), static_cast<size_t>(count))) return false;
    }
}

/** Brings the entry of the file in its folder to the device. */
bool FlushFolderOf(const std::string& filename) {
    const std::unique_ptr<char, void (*)(void*)> path(realpath(filename.c_str(), nullptr), std::free);
    if (!path) return false;
    const std::string real = path.get();
    const Descriptor folder(open(real.substr(0, real.rfind('/') + 1).c_str(), O_RDONLY | O_CLOEXEC));
    return folder.Get() != -1 && fsync(folder.Get()) == 0;
}

bool IsSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

TargetFile::~TargetFile() {
    try {
        if (IsOpened()) Flush();
    } catch (Exception* e) {
        delete e;
    } catch (const std::bad_alloc&) {
        // only the telling of a failure needs memory
    }
    if (m_handle != -1) close(m_handle);
}

void TargetFile::Open(const std::string& filename) {
    m_filename = filename;
    struct stat found {};
    m_isNew = stat(filename.c_str(), &found) != 0;
    // not emptied by the opening: it may be another run's
    m_handle = open(filename.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (m_handle == -1) ThrowOpenError(filename);
    if (fstat(m_handle, &m_opened) != 0) ThrowWriteError(filename);
    m_size = 0;
    m_hash = 0;
    if (!S_ISREG(m_opened.st_mode)) return;
    // a file system that has no locks is no reason to fail
    if (flock(m_handle, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw new FileIoException("File '" + Printable(filename) + "' is being written by another run");
    // looked at again, as a run that had the lock may have written meanwhile
    if (fstat(m_handle, &m_opened) != 0) ThrowWriteError(filename);
    if (m_isFormerKept && m_opened.st_size > 0) CopyFormerContent();
    if (ftruncate(m_handle, 0) != 0) ThrowWriteError(filename);
}

void TargetFile::CopyFormerContent() const {
    const std::string kept = m_filename + "~";
    // made new and renamed: whatever stands under the name is replaced, never written into
    const std::string fresh = kept + std::to_string(getpid());
    const Descriptor source(open(m_filename.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    Descriptor copy(open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, m_opened.st_mode & 0777));
    struct stat read {};
    uint64_t size = 0;
    const bool isCopied = copy.Get() != -1 && fstat(source.Get(), &read) == 0 && IsSameFile(read, m_opened) &&
                          ReadAll(source.Get(),
                                  [&](const char* data, size_t count) {
                                      size += count;
                                      return WriteAll(copy.Get(), data, count);
                                  }) &&
                          size == static_cast<uint64_t>(m_opened.st_size) && fsync(copy.Get()) == 0;
    if (copy.Close() && isCopied && rename(fresh.c_str(), kept.c_str()) == 0 && FlushFolderOf(kept)) return;
    unlink(fresh.c_str());
    ThrowWriteError(kept);
}

void TargetFile::Write(const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    m_buffer.append(bytes, size);
    m_size += size;
    m_hash = Hash(m_hash, bytes, size);
    if (m_buffer.size() >= writeSize) Flush();
}

void TargetFile::Flush() {
    std::string buffer;
    buffer.swap(m_buffer);
    if (!WriteAll(m_handle, buffer.data(), buffer.size())) ThrowWriteError(m_filename);
}

void TargetFile::Close() {
    if (!IsOpened()) return;
    m_isClosed = true;
    Flush();
    // only a regular file has a device to wait for; on a terminal, a pipe or /dev/null fsync is an error
    if (S_ISREG(m_opened.st_mode) && fsync(m_handle) != 0) ThrowWriteError(m_filename);
    // a file system may tell of a failed write only where a descriptor is closed; this one has the lock
    if (!Descriptor(fcntl(m_handle, F_DUPFD_CLOEXEC, 0)).Close()) ThrowWriteError(m_filename);
}

void TargetFile::CheckInPlace() const {
    if (!S_ISREG(m_opened.st_mode)) return;
    const Descriptor file(open(m_filename.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat found {};
    uint64_t size = 0;
    uint64_t hash = 0;
    const bool isInPlace = fstat(file.Get(), &found) == 0 && IsSameFile(found, m_opened) &&
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
    if (m_isNew && !FlushFolderOf(m_filename)) ThrowWriteError(m_filename);
}
