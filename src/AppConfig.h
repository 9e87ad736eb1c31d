#pragma once

#include <string>

/**
 * Every setting by name. Order of lookup: command line and values stored at run time, the ECR's INI section
 * "ECR_" + name, the INI section "Common", the caller's default. An empty value never hides a lower level.
 * docs: README, "Settings".
 */
class AppConfig {
public:
    static void Clear();
    /** Stores a value for this run; "persistent" changes nothing, the INI file is never written. */
    static void SetParameter(const std::string& name, const std::string& value, bool persistent);
    static std::string GetParameter(const std::string& name, const std::string& defValue);
    /** The value as a number; a value that is no number is 0, not the default. */
    static int GetParameter(const std::string& name, int defValue);
    static bool HasParameter(const std::string& name);

    /** Chooses the INI file and the ECR section; called once the command line's parameters are stored. */
    static void Initialize();
    /** "TAVO.ini" beside the program if it is there, else in /etc/tavo/. */
    static std::string GetConfigFilePath();
    /** Section of the ECR to use when the command line names none: "DefaultECR", or the file's only one; or
     * empty. */
    static std::string GetDefaultEcrName();
};
