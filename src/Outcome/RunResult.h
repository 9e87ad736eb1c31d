#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "Options/CommandLine.h"

/** What the program's main function knows of its run. */
struct RunOutline {
    std::string command;          // as it was given, until it is known
    bool isCommandKnown = false;  // otherwise the next one says nothing
    BaseCommandParameters params;
    std::vector<std::string> words;  // of the command line
    std::string id;                  // that no other run has
    timespec start{};
    long long startTime = 0;       // ns of the raw clock
    long long clearTime = 0;       // of it, when the ECR was about to be asked to clear; 0: it was not
    bool isResultRefused = false;  // its file cannot be written, which was told
};

/** What stands for {ECR} in "ResultFile": the file name that only this register has; docs/settings.md,
 * "Names of registers". */
std::string GetRegisterFileName(const std::string& name);

/** Notes the start; there is a command, or what stands in its place. */
RunOutline BeginRun(int argc, char* argv[]);

/** The path that the setting "ResultFile" names; empty for none. */
std::string GetResultPath();

/**
 * The command line was good: the result is written for the first time, and again when the ECR is about to be
 * asked to clear and when it has cleared, so that whoever finds it knows what a killed run may have done.
 * FileIoException when it cannot be written and the command must not be repeated (one that clears, Init,
 * ExecuteFiscal): told only behind the command, that failure would invite a second run. The outline is used
 * until the end of the run.
 */
void SetCommand(RunOutline& run, const BaseCommandParameters& params);

/**
 * Writes the file that the setting "ResultFile" names, if it names one, as one JSON object; docs/results.md,
 * "The file of the result". It is there as a whole or not at all; FileIoException when it cannot be written,
 * or would replace a file of the run: what the command line names, FILE~, the INI file, a log.
 */
void WriteRunResult(const RunOutline& run, int status);
