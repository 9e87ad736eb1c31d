#pragma once

#include <functional>
#include <optional>
#include <string>

#include "System/FileStream.h"

/** An INI file's text up to a byte that ends it: a Ctrl-Z, or a NUL, which makes all of it unreadable. */
struct IniText {
    std::string text;
    std::optional<char> end;
};

/** What a line of an INI file carries: a section heading, a key with its value, or neither. */
struct IniLine {
    int number = 0;       // in the file, from 1
    std::string section;  // in which it stands, or which it opens; empty above the first heading
    bool isHeading = false;
    std::optional<std::string> key;
    std::string value;
    std::string text;  // the whole line
};

/**
 * Reader of one INI file, which it opens anew for every question; docs/settings.md, "The INI file".
 * Names of sections and keys are compared without regard to letter case. A value has at most 255 characters.
 */
class IniFile {
public:
    /** Makes the path current; ConfigurationException when it is to be checked and does not exist. */
    static void SetFile(const std::string& iniFilePath, bool checkIfExists);
    /** Makes the section current; ConfigurationException when it is to be checked and is missing. */
    static void SetSection(const std::string& section, bool checkIfExists);
    static std::string GetFile();
    /** The current file, opened to be read; null when it cannot be read, SystemException when that says
     * nothing of the file: taking the defaults for want of descriptors or memory would go unnoticed. */
    static FileStream OpenForReading();
    static std::string GetSection();
    /** The text as far as it counts; nothing when it cannot be read or is too large. */
    static std::optional<IniText> ReadText();
    /** Calls visit for every line of the current file; for none when it cannot be read or holds a NUL byte.
     */
    static void VisitLines(const std::function<void(const IniLine& line)>& visit);
    /** Names of sections and keys are the same whatever their case. */
    static bool IsSameName(const std::string& a, const std::string& b);

    /** The key's value, which may be empty; defValue when file, section or key is missing. */
    static std::string GetString(const std::string& section, const std::string& key,
                                 const std::string& defValue);
    static std::string GetString(const std::string& key, const std::string& defValue);
    static int GetNumber(const std::string& section, const std::string& key, int defValue);
    static int GetNumber(const std::string& key, int defValue);
    /** True for a key with a value; a key present with an empty value counts as absent. */
    static bool ContainsKey(const std::string& section, const std::string& key);
    static bool ContainsKey(const std::string& key);

    /** Does nothing: the INI file is never written, also not for a parameter that is marked persistent. */
    static void SetString(const std::string& section, const std::string& key, const std::string& value);
};
