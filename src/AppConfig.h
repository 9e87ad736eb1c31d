#pragma once

#include <map>
#include <string>
#include <vector>

#include "Settings.h"

/** A value and where it was found; empty, and nowhere, without one. */
struct Parameter {
    std::string value;
    SettingPlace place = SettingPlace_None;
};

/**
 * Every setting by name. Order of lookup: command line and values stored at run time, the ECR's INI section
 * "ECR_" + name, the INI section "Common", the caller's default. An empty value never hides a lower level.
 * docs/settings.md.
 */
class AppConfig {
public:
    static constexpr const char* commonSection = "Common";
    static constexpr const char* ecrSectionPrefix = "ECR_";
    static constexpr const char* nightSection = "Night";  // in place of Common for settings of tavo-night

    static void Clear();
    /** Stores a value for this run; "persistent" changes nothing, the INI file is never written. */
    static void SetParameter(const std::string& name, const std::string& value, bool persistent);
    /** The value, or the default of the row. Every call reads the INI file again: what is needed for each
     * record is asked for once. */
    static std::string Get(const TextSetting& setting);
    static int Get(const NumberSetting& setting);
    static std::string GetParameter(const std::string& name, const std::string& defValue);
    /** The value as a number; a value that is no number is 0, not the default. */
    static int GetParameter(const std::string& name, int defValue);
    static bool HasParameter(const std::string& name);
    static Parameter FindParameter(const std::string& name);
    /** What the command line gave, and what was stored at run time. */
    static const std::map<std::string, std::string>& GetParameters();

    /** Chooses the INI file and the ECR section; called once the command line's parameters are stored. */
    static void Initialize();
    /** "TAVO.ini" beside the program if it is there, else in /etc/tavo/. */
    static std::string GetConfigFilePath();
    /** Section of the ECR to use when the command line names none: "DefaultECR", or the file's only one; or
     * empty. */
    static std::string GetDefaultEcrName();
    /** The register's section in use, "ECR_" + name; empty for none. */
    static std::string GetEcrSection();
    /** The registers that have a section in the INI file, in its order and in any letter case. */
    static std::vector<std::string> GetEcrNames();
};
