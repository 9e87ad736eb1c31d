#include "FileStream.h"

#include "Exceptions.h"
#include "Format.h"
#include "Wrapper/LinuxFunctionWrapper.h"

FileStream OpenFile(const std::string& filename, const char* mode) {
    FILE* file = nullptr;
    fopen_s(&file, filename.c_str(), mode);
    if (file == nullptr) ThrowOpenError(filename);
    return FileStream(file);
}

void ThrowOpenError(const std::string& filename) {
    throw new FileIoException("Unable to open file '" + Printable(filename) + "'");
}

void ThrowReadError(const std::string& filename) {
    throw new FileIoException("File '" + Printable(filename) + "' read error");
}

void ThrowWriteError(const std::string& filename) {
    throw new FileIoException("Unable to write file '" + Printable(filename) + "'");
}
