#pragma once

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

/** An open C stream that closes itself. */
using FileStream = std::unique_ptr<FILE, FileCloser>;

/** The FileIoExceptions of a data file: "Unable to open file '...'" and the like. error is the errno of the
 * call that has failed; 0 where none has. */
[[noreturn]] void ThrowOpenError(const std::string& filename, int error = errno);
[[noreturn]] void ThrowReadError(const std::string& filename, int error = errno);
[[noreturn]] void ThrowWriteError(const std::string& filename, int error = errno);
