#pragma once

#include <string>
#include <vector>

/** What is wrong with a line of a CSV file, or likely not meant. */
struct Finding {
    bool isBad;  // the line is not sent; otherwise it is, but hardly as it was meant
    int field;   // from 1; 0 for the line as a whole
    int column;  // in bytes, from 1
    std::string cause;
};

/** Findings on one line, given without its line end; one that is bad is the last. */
std::vector<Finding> DiagnoseLine(const std::string& line, bool isCommand);

/**
 * Warnings about a file as a whole: byte-order mark, UTF-8, a delimiter other than the setting's, records
 * that cannot be sorted.
 */
std::vector<std::string> DiagnoseFile(const std::vector<std::string>& lines, bool hasCommands);

/** The file's lines as the index takes them: up to 1023 bytes each, trimmed at their end. */
std::vector<std::string> ReadLines(const std::string& filename);
