#include "FileStream.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#include "Exceptions.h"
#include "Wrapper/LinuxFunctionWrapper.h"

FileStream OpenFile(const std::string& filename, const char* mode) {
    FILE* file = nullptr;
    fopen_s(&file, filename.c_str(), mode);
    if (file == nullptr) throw new FileIoException("Unable to open file '" + filename + "'");
    return FileStream(file);
}

FileStream OpenInputFile(const std::string& filename) {
    FileStream file = OpenFile(filename, "rb");
    struct stat status {};
    if (fstat(fileno(file.get()), &status) != 0 || S_ISDIR(status.st_mode)) ThrowReadError(filename);
    if (status.st_size > INT_MAX) throw new FileIoException("File '" + filename + "' is too large");
    return file;
}

void ThrowReadError(const std::string& filename) {
    throw new FileIoException("File '" + filename + "' read error");
}

void ThrowWriteError(const std::string& filename) {
    throw new FileIoException("Unable to write file '" + filename + "'");
}

void CloseOutputFile(FileStream file, const std::string& filename) {
    struct stat status {};
    bool written = std::fflush(file.get()) == 0 && fstat(fileno(file.get()), &status) == 0;
    // only a regular file has a device to wait for; on a terminal, a pipe or /dev/null fsync is an error
    written = written && (!S_ISREG(status.st_mode) || fsync(fileno(file.get())) == 0);
    if (std::fclose(file.release()) != 0 || !written) ThrowWriteError(filename);
}
