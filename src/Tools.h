#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

/** Directory of the running executable, with the trailing slash; SystemException when it cannot be found out.
 */
std::string GetAppDirectory();
/** Of the machine. */
std::string GetHostName();
std::string GetLogDirectory();
std::string GetConfigDirectory();

/** s without its leading, trailing or outer characters that occur in the set chars. */
std::string TrimLeft(const std::string& s, const std::string& chars);
std::string TrimRight(const std::string& s, const std::string& chars);
std::string Trim(const std::string& s, const std::string& chars);

/** Bytes of the UTF-8 sequence that begins at the position; 0 when none does. */
size_t Utf8Length(const std::string& text, size_t position);

/** s right-aligned in exactly width characters: padded with fill, or its last width characters. */
std::string Align(const std::string& s, int width, char fill);

/** Upper and lower case of ASCII letters; other bytes stay. */
std::string ToUpper(const std::string& s);
std::string ToLower(const std::string& s);

/** Items with the separator between them; std::out_of_range for no items with a separator. */
std::string Join(const std::string* items, int count, const std::string& separator);

/** The number that s begins with (base 10, leading blanks and a sign allowed), 0 without digits; saturates.
 */
int ToInt(const std::string& s);

/** Sleeps units x 10 ms; 100 units and more do not sleep at all. */
void Sleep(int units);

/** Calendar time; wDayOfWeek is 1 on Sunday. */
struct tagSYSTEMTIME {
    uint16_t wYear;
    uint16_t wMonth;
    uint16_t wDayOfWeek;
    uint16_t wDay;
    uint16_t wHour;
    uint16_t wMinute;
    uint16_t wSecond;
    uint16_t wMilliseconds;
};

void GetLocalTime(tagSYSTEMTIME* time);

class File {
public:
    /** True for anything that stat finds, directories too. */
    static bool Exists(const std::string& path);
    /** True for two names of one file; false when one of them is not there. */
    static bool IsSame(const std::string& a, const std::string& b);
    /** Likewise of what stat has told of them. */
    static bool IsSame(const struct stat& a, const struct stat& b);
    static bool Delete(const std::string& path);
    /** Time of the last change as ctime writes it, newline included; the start of 1970 for a missing file.
     * Empty for a year of five digits. */
    static std::string Modified(const std::string& path);
};

class Directory {
public:
    static bool Exists(const std::string& path);
    /** Creates one level with permissions 0755; parents must exist. */
    static bool Create(const std::string& path);
};
