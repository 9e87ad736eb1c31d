#pragma once

#include <string>
#include <vector>

#include "Exceptions.h"
#include "Settings.h"
#include "System/PortFacts.h"

/** A setting as a run would take it. */
struct SettingInUse {
    const Setting* setting;
    std::string value;   // "..." for a password
    std::string source;  // "command line", "[ECR_Till1]", "[Common]", "default"
};

/** What keeps a run from starting. */
struct Obstacle {
    ReturnCode status;  // that the run would end with
    std::string cause;  // and what to do
};

/** What a run with the settings that AppConfig has would use; found out without opening port or logs. */
struct Setup {
    std::string iniFile;
    std::string whyIniFile;
    std::vector<std::string> registers;
    std::string section;  // of the register in use, empty for none
    std::string whySection;
    std::vector<SettingInUse> settings;
    PortFacts port;
    std::vector<std::string> logs;
    bool areLogsWritable = true;
    std::vector<Obstacle> obstacles;  // in the order in which a run meets them
    std::vector<std::string> warnings;
};

Setup InspectSetup();
/** The status of a run: that of the first obstacle. */
ReturnCode GetStatus(const Setup& setup);

/** For a reader, and as one JSON object. */
std::string ToText(const Setup& setup);
std::string ToJson(const Setup& setup);
