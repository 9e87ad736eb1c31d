#include "Regex.h"

#include <regex>

std::string ReplaceAll(const std::string& text, const std::string& pattern, const std::string& replacement) {
    return std::regex_replace(text, std::regex(pattern), replacement);
}

std::string ListMatches(const std::string& text, const std::string& pattern, const std::string& format) {
    return std::regex_replace(text, std::regex(pattern), format, std::regex_constants::format_no_copy);
}
