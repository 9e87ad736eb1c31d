#pragma once

#include <string>
#include <vector>

#include "ProgramOptions.h"

/** What tavo-check is asked to do; the texts of `tavo-check --help` explain each. */
struct CheckOptions {
    bool isHelpRequested = false;
    bool isVersionRequested = false;
    bool isFiscal = false;
    bool isShown = false;
    bool isSetup = false;
    bool isJson = false;
    std::vector<std::string> words;  // what is left: the arguments of tavo
};

/** CommandLineException for an unknown option. */
CheckOptions ParseCheckOptions(int argc, char* argv[]);
std::vector<OptionHelp> GetCheckOptionHelp();
