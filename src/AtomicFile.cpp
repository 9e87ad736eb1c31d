#include "AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "FileStream.h"
#include "Interrupt.h"

namespace {

/** The rights of the file that is there, or of a new one. */
mode_t GetMode(const std::string& filename) {
    struct stat status {};
    if (stat(filename.c_str(), &status) == 0) {
        // a renamed file would stand in the place of the device or pipe, for everybody
        if (!S_ISREG(status.st_mode)) ThrowWriteError(filename);
        return status.st_mode & ALLPERMS;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

TemporaryFile::TemporaryFile(const std::string& neighbour)
    : m_path(neighbour.substr(0, neighbour.rfind('/') + 1) + ".tavo~XXXXXX"),
      m_file(mkostemp(m_path.data(), O_CLOEXEC)) {}

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

bool FlushFolderOf(const std::string& filename) {
    const std::unique_ptr<char, void (*)(void*)> path(realpath(filename.c_str(), nullptr), std::free);
    if (!path) return false;
    const std::string real = path.get();
    const Descriptor folder(open(real.substr(0, real.rfind('/') + 1).c_str(), O_RDONLY | O_CLOEXEC));
    // EINVAL: a file system that brings its folders to the device by itself
    return folder.IsOpen() && (fsync(folder.Get()) == 0 || errno == EINVAL);
}

void CheckPlace(const std::string& filename) {
    GetMode(filename);
    if (TemporaryFile(filename).Get() == -1) ThrowOpenError(filename);
}

void ReplaceFile(const std::string& filename, const std::string& content) {
    const mode_t mode = GetMode(filename);
    TemporaryFile file(filename);
    if (file.Get() == -1) ThrowOpenError(filename);
    if (!WriteAll(file.Get(), content.data(), content.size()) || fchmod(file.Get(), mode) != 0 ||
        fsync(file.Get()) != 0 || !file.RenameTo(filename) || !FlushFolderOf(filename))
        ThrowWriteError(filename);
}
