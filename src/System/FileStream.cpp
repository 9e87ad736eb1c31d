#include "System/FileStream.h"

#include <cerrno>

#include "Exceptions.h"
#include "Format.h"

void ThrowOpenError(const std::string& filename) {
    const int error = errno;
    throw new FileIoException("Unable to open file '" + Printable(filename) + "'", filename, error);
}

void ThrowReadError(const std::string& filename) {
    const int error = errno;
    throw new FileIoException("File '" + Printable(filename) + "' read error", filename, error);
}

void ThrowWriteError(const std::string& filename) {
    const int error = errno;
    throw new FileIoException("Unable to write file '" + Printable(filename) + "'", filename, error);
}
