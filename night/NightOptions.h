#pragma once

#include <string>
#include <vector>

#include "Options/ProgramOptions.h"

/** What tavo-night is asked to do; `tavo-night --help` explains each. */
struct NightOptions {
    bool isHelpRequested = false;
    bool isVersionRequested = false;
    bool isAll = false;
    bool isJson = false;
    bool isMetrics = false;
    bool isKept = false;
    bool isDropped = false;
    std::string command;
    std::vector<std::string> words;     // registers or ids
    std::vector<std::string> settings;  // /Name=Value
};

/** CommandLineException for an unknown option, and without a command. */
NightOptions ParseNightOptions(int argc, char* argv[]);
std::vector<OptionHelp> GetNightOptionHelp();
