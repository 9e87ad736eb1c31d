#pragma once

#include <string>
#include <vector>

#include "Finding.h"

struct TableDiagnosis {
    std::vector<Finding> warnings;
    std::string note;  // that a few lines cannot be compared; empty where they can, or are alike
};

/**
 * Warnings about lines that differ from most lines of the file: in the number of their fields, or in the kind
 * of a field; about barcodes with a wrong check digit, and a heading that is sent. Records only, no commands.
 */
TableDiagnosis DiagnoseTable(const std::vector<std::string>& lines, char delimiter);
