#pragma once

#include <string>
#include <vector>

#include "Options/ProgramOptions.h"
#include "Trace.h"

/** What tavo-line is asked to do; the texts of `tavo-line --help` explain each. */
struct LineOptions {
    bool isHelpRequested = false;
    bool isVersionRequested = false;
    std::string recordPath;  // empty: none
    bool arePasswordsShown = false;
    TraceForm trace = TraceForm::Text;
    std::string action;              // "list", "probe" or "tap"
    std::vector<std::string> words;  // settings
};

/** CommandLineException for an unknown option or none of the actions. */
LineOptions ParseLineOptions(int argc, char* argv[]);
std::vector<OptionHelp> GetLineOptionHelp();
