#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Options/ProgramOptions.h"

/** What tavo-check is asked to do; the texts of `tavo-check --help` explain each. */
struct CheckOptions {
    bool isHelpRequested = false;
    bool isVersionRequested = false;
    bool isFiscal = false;
    bool isShown = false;
    bool isSetup = false;
    bool isJson = false;
    bool isStrict = false;  // a warning about the file counts as an error
    std::string fixedPath;  // of a corrected copy, empty: none
    std::string codePage;   // of it, empty: as the file
    bool areRegistersListed = false;
    std::optional<std::string> namedRegister;  // whose file name is asked for
    std::optional<int> status;                 // to be explained
    bool isClassAsked = false;
    std::vector<std::string> words;  // what is left: the arguments of tavo
};

/** CommandLineException for an unknown option. */
CheckOptions ParseCheckOptions(int argc, char* argv[]);
std::vector<OptionHelp> GetCheckOptionHelp();
