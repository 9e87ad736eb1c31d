#pragma once

#include <ctime>
#include <string>

#include "CommandLine.h"

/** What the program's main function knows of its run. */
struct RunOutline {
    std::string command;          // as it was given, until it is known
    bool isCommandKnown = false;  // otherwise the next one says nothing
    BaseCommandParameters params;
    std::time_t start = 0;
    long long startTime = 0;  // ns of the raw clock
};

/** Notes the start. */
RunOutline BeginRun(const std::string& command);

/** The command line was good. */
void SetCommand(RunOutline& run, const BaseCommandParameters& params);

/**
 * Writes the file that the setting "ResultFile" names, if it names one, as one JSON object; docs: README,
 * "The result of a run". It is there as a whole or not at all; FileIoException when it cannot be written.
 */
void WriteRunResult(const RunOutline& run, int status);
