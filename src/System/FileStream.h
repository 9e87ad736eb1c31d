#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

/** An open C stream that closes itself. */
using FileStream = std::unique_ptr<FILE, FileCloser>;

/** The FileIoExceptions of a data file: "Unable to open file '...'" and the like. */
[[noreturn]] void ThrowOpenError(const std::string& filename);
[[noreturn]] void ThrowReadError(const std::string& filename);
[[noreturn]] void ThrowWriteError(const std::string& filename);
