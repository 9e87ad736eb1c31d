#include "System/FileStream.h"

#include "Exceptions.h"
#include "Format.h"

namespace {

[[noreturn]] void Throw(const std::string& message, const std::string& filename, int error) {
    throw new FileIoException(message, error != 0 ? filename : "", error);
}

}  // namespace

void ThrowOpenError(const std::string& filename, int error) {
    Throw("Unable to open file '" + Printable(filename) + "'", filename, error);
}

void ThrowReadError(const std::string& filename, int error) {
    Throw("File '" + Printable(filename) + "' read error", filename, error);
}

void ThrowWriteError(const std::string& filename, int error) {
    Throw("Unable to write file '" + Printable(filename) + "'", filename, error);
}
