#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

/** An open C stream that closes itself. */
using FileStream = std::unique_ptr<FILE, FileCloser>;

/** Opens a data file; FileIoException "Unable to open file '...'" when that fails. */
FileStream OpenFile(const std::string& filename, const char* mode);

/** Opens a data file for reading; a file of 2 GiB or more is a FileIoException, positions in it would not
 * fit. */
FileStream OpenInputFile(const std::string& filename);

/** Throws the FileIoException of a data file that can be opened but not read. */
[[noreturn]] void ThrowReadError(const std::string& filename);

/** Throws the FileIoException of a data file that takes no more data. */
[[noreturn]] void ThrowWriteError(const std::string& filename);

/** Brings all that was written to the device and closes the stream; a failure of either is ThrowWriteError.
 */
void CloseOutputFile(FileStream file, const std::string& filename);
