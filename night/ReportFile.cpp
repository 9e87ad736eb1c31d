#include "ReportFile.h"

#include <fcntl.h>
#include <sha2.h>
#include <sys/stat.h>

#include <cerrno>

#include "System/Descriptor.h"
#include "System/FileStream.h"

std::optional<std::string> ReadRegularFile(const std::string& path, bool areLinksFollowed, size_t mostBytes) {
    const int links = areLinksFollowed ? 0 : O_NOFOLLOW;
    const Descriptor opened(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | links));
    if (!opened.IsOpen() && errno != ENOENT && errno != ELOOP) ThrowOpenError(path);
    struct stat status {};
    if (!opened.IsOpen() || fstat(opened.Get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<uintmax_t>(status.st_size) > mostBytes)
        return std::nullopt;
    std::string bytes(static_cast<size_t>(status.st_size), '\0');
    size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t count = read(opened.Get(), &bytes[size], bytes.size() - size);
        if (count < 0) ThrowReadError(path);
        if (count == 0) break;
        size += static_cast<size_t>(count);
    }
    bytes.resize(size);
    return bytes;
}

std::string GetSha256(const std::string& bytes) {
    char text[SHA256_DIGEST_STRING_LENGTH];
    SHA256Data(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), text);
    return text;
}
