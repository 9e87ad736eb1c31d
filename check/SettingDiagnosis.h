#pragma once

#include <string>
#include <vector>

/**
 * Warnings about the settings of the command line and the INI file that AppConfig has: names that there are
 * not, settings in a place where they have no effect, values that are no numbers or are not taken as they
 * stand, sections that nothing selects, and what makes the file be read otherwise than it looks.
 */
std::vector<std::string> DiagnoseSettings();
