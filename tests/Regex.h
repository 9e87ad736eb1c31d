#pragma once

#include <string>

/** Regular expressions, compiled in one source, as that takes its time. */

/** The text with another one in the place of each match; "$1" stands for what a group has found. */
std::string ReplaceAll(const std::string& text, const std::string& pattern, const std::string& replacement);
/** Every match, written as the format says, one behind the other. */
std::string ListMatches(const std::string& text, const std::string& pattern, const std::string& format);
