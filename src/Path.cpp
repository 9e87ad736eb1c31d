#include "Path.h"

#include <algorithm>
#include <cctype>

#include "Format.h"

namespace {

constexpr const char* separators = "/\\";

}  // namespace

std::string Path::Normalize(const std::string& path) {
    std::string result = path;
    std::replace(result.begin(), result.end(), AltDirectorySeparatorChar, DirectorySeparatorChar);
    return result;
}

std::string Path::GetExtension(const std::string& path) {
    const std::string normalized = Normalize(path);
    const size_t dot = normalized.rfind('.');
    return dot == std::string::npos ? "" : normalized.substr(dot + 1);
}

std::string Path::GetFileName(const std::string& path) {
    const size_t separator = path.find_last_of(separators);
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

std::string Path::GetDirectoryName(const std::string& path) {
    const size_t separator = path.find_last_of(separators);
    return separator == std::string::npos ? "" : path.substr(0, separator + 1);
}

std::string Path::Combine(const std::string& a, const std::string& b) {
    if (a.empty()) return b;
    std::string result = Normalize(a);
    if (result.back() != DirectorySeparatorChar) result += DirectorySeparatorChar;
    return result + Normalize(b);
}

std::string Path::EncodeName(const std::string& text) {
    std::string name;
    for (const char c : text) {
        const auto value = static_cast<unsigned char>(c);
        const bool isPlain =
            std::isalnum(value) != 0 || c == '_' || (!name.empty() && (c == '-' || c == '.'));
        name += isPlain ? std::string(1, c) : Format("%%%02X", value);
    }
    return name;
}
