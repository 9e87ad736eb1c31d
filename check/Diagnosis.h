#pragma once

#include <string>
#include <vector>

#include "Finding.h"

/** What the settings make of a line. */
struct LineRules {
    bool isCommand;
    char delimiter;
    int frameVersion;
    bool isFixed = false;  // it is a corrected copy: of its delimiters all was said
};

/** Findings on one line, given without its line end and its number; one that is bad is the last. */
std::vector<Finding> DiagnoseLine(const std::string& line, const LineRules& rules);

/**
 * Warnings about a file as a whole: byte-order mark, UTF-8, a delimiter other than the setting's, records
 * that cannot be sorted.
 */
std::vector<Finding> DiagnoseFile(const std::vector<std::string>& lines, const LineRules& rules);
