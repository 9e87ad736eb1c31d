#include "Files/SourceFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "Exceptions.h"
#include "Format.h"
#include "System/FileStream.h"
#include "System/Interrupt.h"

void SourceFile::Open(const std::string& filename) {
    m_filename = filename;
    if (!m_file.Reset(open(filename.c_str(), O_RDONLY | O_CLOEXEC)) || !m_file.IsOpen())
        ThrowOpenError(filename);
    if (fstat(m_file.Get(), &m_opened) != 0) ThrowReadError(filename);
    if (S_ISDIR(m_opened.st_mode)) ThrowReadError(filename, EISDIR);
    if (m_opened.st_size > INT_MAX) ThrowTooLarge();
}

size_t SourceFile::Read(off_t offset, void* data, size_t size) const {
    size_t done = 0;
    // a short read is not the end: network file systems cut where they like
    while (done < size) {
        const ssize_t count = pread(m_file.Get(), static_cast<char*>(data) + done, size - done,
                                    offset + static_cast<off_t>(done));
        if (count == 0) break;
        if (count < 0 && errno != EINTR) ThrowReadError(m_filename);
        if (count < 0) CheckInterrupt();
        if (count > 0) done += static_cast<size_t>(count);
    }
    CheckUnchanged();  // behind the reading: what was read is then of the file that was opened
    return done;
}

void SourceFile::CheckUnchanged() const {
    struct stat now {};
    if (fstat(m_file.Get(), &now) != 0) ThrowReadError(m_filename);
    if (now.st_size != m_opened.st_size || now.st_mtim.tv_sec != m_opened.st_mtim.tv_sec ||
        now.st_mtim.tv_nsec != m_opened.st_mtim.tv_nsec)
        ThrowChanged();
}

void SourceFile::ThrowChanged() const {
    throw new FileIoException("File '" + Printable(m_filename) + "' was changed while it was being sent");
}

void SourceFile::ThrowTooLarge() const {
    throw new FileIoException("File '" + Printable(m_filename) + "' is too large");
}

void SourceFile::Close() { m_file.Reset(); }
