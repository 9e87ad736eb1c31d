#pragma once

#include <optional>
#include <string>
#include <vector>

/** What a line begins with, where a character separates the fields. */
enum class Beginning {
    Field,    // a number or a closed text, and the delimiter behind it
    Whole,    // such a field is the whole line
    NoField,  // something else: a text without quotes, or several fields between other delimiters
};

Beginning GetBeginning(const std::string& line, char delimiter);

/** The delimiter by which most lines begin with a field, and more than by this one; nothing for none. */
std::optional<char> FindOtherDelimiter(const std::vector<std::string>& lines, char delimiter);

/** "tab", "';'" */
std::string NameOfDelimiter(char delimiter);
