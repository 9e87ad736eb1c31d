#pragma once

#include <string>

#include "Exceptions.h"

/**
 * A line for a person about what a message of the run cannot say: on standard error, and only where that is a
 * terminal. Nothing that fails here is a failure of the run.
 */

/** Why the INI file counts for nothing: it may not be read, or the command line names one that is not there;
 * empty where it counts, and where there need be none. */
std::string GetIniFileHint();

/** On a command line with names that are no settings, or a register that has no section. */
void HintAtSettings();

/** What such a line says of a run that has ended with this status, and had this file, if any; empty for
 * nothing. */
std::string GetHint(ReturnCode status, const std::string& filePath);

/** On a run that has ended with this status. */
void HintAtStatus(ReturnCode status, const std::string& filePath = "");
