#pragma once

#include <string>

/** Operations on path texts; both separators are understood, results of Combine and Normalize hold slashes
 * only. */
class Path {
public:
    static constexpr char DirectorySeparatorChar = '/';
    static constexpr char AltDirectorySeparatorChar = '\\';

    static std::string Normalize(const std::string& path);
    /** The text after the last dot anywhere in the path ("a.b/c" gives "b/c"); empty when there is none. */
    static std::string GetExtension(const std::string& path);
    static std::string GetFileName(const std::string& path);
    /** Up to and including the last separator, as given; empty when there is none. */
    static std::string GetDirectoryName(const std::string& path);
    /** b alone when a is empty; otherwise both, joined by one slash, also when b is absolute. */
    static std::string Combine(const std::string& a, const std::string& b);
    /** The file name that stands for any text, of which no other text has it: ASCII letters, digits, '_', and
     * '-' and '.' but at the beginning, stand for themselves, every other byte is '%' and two hexadecimal
     * digits. docs/settings.md, "Names of registers". */
    static std::string EncodeName(const std::string& text);
};
