#pragma once

#include <string>
#include <vector>

/** What one register is served with. */
struct RegisterSettings {
    std::string name;  // as the INI file writes it
    std::string prices;
    std::string tty;
    int section = 0;  // of the prices
    std::vector<int> reports;
    char delimiter = ',';
    std::string fileRules;  // what a check of its prices depends on: registers with the same share one
    std::vector<std::string> forRuns;  // settings that a run wants and that are not set
};

struct NightSettings {
    std::string folder;  // absolute, without a slash at its end
    int tries = 0;
    int pauseMs = 0;
    int jobs = 0;
    long long maxAgeMs = 0;
    long long keepMs = 0;
    std::string onTrouble;
    std::vector<RegisterSettings> registers;
    std::vector<std::string> leftOut;      // names of those that cannot be served as they are set
    std::vector<std::string> problems;     // what a person has to mend in the INI file
    std::vector<std::string> forEveryRun;  // words of the command line that are settings of tavo
};

/** Reads the INI file once, and the words /Name=Value, which win. CommandLineException for a malformed word,
 * and for one that the night sets itself; ConfigurationException for a number that is none. */
NightSettings LoadNightSettings(const std::vector<std::string>& words);
