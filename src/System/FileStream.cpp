#include "System/FileStream.h"

#include "Exceptions.h"
#include "Format.h"

void ThrowOpenError(const std::string& filename) {
    throw new FileIoException("Unable to open file '" + Printable(filename) + "'");
}

void ThrowReadError(const std::string& filename) {
    throw new FileIoException("File '" + Printable(filename) + "' read error");
}

void ThrowWriteError(const std::string& filename) {
    throw new FileIoException("Unable to write file '" + Printable(filename) + "'");
}
