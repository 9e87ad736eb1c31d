#include "Tools.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "Defaults.h"
#include "Exceptions.h"
#include "Path.h"

namespace {

std::string ReadAppDirectory() {
    char target[4096];
    const ssize_t length = readlink("/proc/self/exe", target, sizeof target);
    if (length < 0) throw new SystemException("readlink() failed");
    return Path::GetDirectoryName(std::string(target, static_cast<size_t>(length)));
}

std::string MapCharacters(std::string s, int (*map)(int)) {
    for (char& c : s) c = static_cast<char>(map(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

std::string GetAppDirectory() {
    static const std::string directory = ReadAppDirectory();
    return directory;
}

std::string GetHostName() {
    char name[HOST_NAME_MAX + 1] = {};
    gethostname(name, sizeof name - 1);
    return name;
}

std::string GetLogDirectory() { return defaultLogDirectory; }

std::string GetConfigDirectory() { return "/etc/tavo/"; }

std::string TrimLeft(const std::string& s, const std::string& chars) {
    const size_t first = s.find_first_not_of(chars);
    return first == std::string::npos ? "" : s.substr(first);
}

std::string TrimRight(const std::string& s, const std::string& chars) {
    return s.substr(0, s.find_last_not_of(chars) + 1);
}

std::string Trim(const std::string& s, const std::string& chars) {
    return TrimLeft(TrimRight(s, chars), chars);
}

size_t Utf8Length(const std::string& text, size_t position) {
    const auto first = static_cast<unsigned char>(text[position]);
    const size_t length = first < 0x80                    ? 1
                          : first >= 0xC2 && first < 0xE0 ? 2
                          : first >= 0xE0 && first < 0xF0 ? 3
                          : first >= 0xF0 && first < 0xF5 ? 4
                                                          : 0;
    // a number that a shorter sequence has, a surrogate, and one past the last are none
    const unsigned least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    for (size_t i = 1; i < length; i++) {
        const unsigned next = position + i < text.size() ? static_cast<unsigned char>(text[position + i]) : 0;
        if (next < (i == 1 ? least : 0x80) || next > (i == 1 ? most : 0xBF)) return 0;
    }
    return length;
}

std::string Align(const std::string& s, int width, char fill) {
    if (width < 0) throw new InternalException(__FILE__, __LINE__);
    const auto size = static_cast<size_t>(width);
    return s.size() < size ? std::string(size - s.size(), fill) + s : s.substr(s.size() - size);
}

std::string ToUpper(const std::string& s) { return MapCharacters(s, std::toupper); }

std::string ToLower(const std::string& s) { return MapCharacters(s, std::tolower); }

std::string Join(const std::string* items, int count, const std::string& separator) {
    std::string result;
    for (int i = 0; i < count; i++) result += items[i] + separator;
    // with no items and a separator there is nothing to remove, which erase reports as std::out_of_range
    return result.erase(result.size() - separator.size());
}

int ToInt(const std::string& s) {
    const long value = std::strtol(s.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

void Sleep(int units) {
    // a second and more is no pause at all: the session's default ones, 200 and 1000 units, rely on it
    if (units < 0 || units >= 100) return;
    const timespec duration{0, units * 10'000'000L};
    nanosleep(&duration, nullptr);
}

void GetLocalTime(tagSYSTEMTIME* time) {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const auto narrow = [](long long value) { return static_cast<uint16_t>(value); };
    *time = {narrow(local.tm_year + 1900), narrow(local.tm_mon + 1),  narrow(local.tm_wday + 1),
             narrow(local.tm_mday),        narrow(local.tm_hour),     narrow(local.tm_min),
             narrow(local.tm_sec),         narrow(now.tv_usec / 1000)};
}

bool File::Exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

bool File::IsSame(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && IsSame(first, second);
}

bool File::IsSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool File::Delete(const std::string& path) { return std::remove(path.c_str()) == 0; }

std::string File::Modified(const std::string& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    char text[26];
    return ctime_r(&status.st_mtime, text) != nullptr ? text : "";
}

bool Directory::Exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool Directory::Create(const std::string& path) { return mkdir(path.c_str(), 0755) == 0; }
