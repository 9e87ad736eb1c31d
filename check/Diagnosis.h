#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Finding.h"

/** Findings on one line, given without its line end and its number; one that is bad is the last. */
std::vector<Finding> DiagnoseLine(const std::string& line, bool isCommand);

/**
 * Warnings about a file as a whole: byte-order mark, UTF-8, a delimiter other than the setting's, records
 * that cannot be sorted.
 */
std::vector<Finding> DiagnoseFile(const std::vector<std::string>& lines, bool hasCommands);

/** The delimiter that every line has in place of the setting's; nothing when they have that. */
std::optional<char> FindOtherDelimiter(const std::vector<std::string>& lines);
