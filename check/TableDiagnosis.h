#pragma once

#include <string>
#include <vector>

#include "Finding.h"

/**
 * Warnings about lines that differ from most lines of the file: in the number of their fields, or in the kind
 * of a field; about barcodes with a wrong check digit, and a heading that is sent. Records only, no commands.
 */
std::vector<Finding> DiagnoseTable(const std::vector<std::string>& lines, char delimiter);
