#pragma once

#include <string>
#include <vector>

#include "Finding.h"

/**
 * Warnings about lines that differ from most lines of the file: in the number of their fields, or in the kind
 * of a field; about barcodes with a wrong check digit, and a heading that is sent. Records only, no commands.
 */
std::vector<Finding> DiagnoseTable(const std::vector<std::string>& lines);

/** What a spreadsheet has made of a number, when the text of a field (without quotes) looks like that: "a
 * decimal comma", with what mends it; empty for any other text. */
std::string NameSpreadsheetNumber(const std::string& text);
