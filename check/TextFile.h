#pragma once

#include <string>
#include <vector>

/** What UTF-8 may begin with. */
inline constexpr const char* byteOrderMark = "\xEF\xBB\xBF";

std::string ReadAll(const std::string& filename);
/** The file's lines as the index takes them: up to 1023 bytes each, trimmed at their end. */
std::vector<std::string> ReadLines(const std::string& filename);

/** Where letters beyond ASCII stand first, by their coding; lines and columns from 1, 0 for none. */
struct Coding {
    int utf8Line = 0;
    int utf8Column = 0;
    int otherLine = 0;  // in which there is something that is no UTF-8
};

/** Looks at every line; a byte-order mark before the first is none of its letters. */
Coding FindCoding(const std::vector<std::string>& lines);
