// The INI file: any text is read, and settings behind it are found.

#include <cctype>

#include "AppConfig.h"
#include "Fuzz.h"
#include "IniFile.h"
#include "Tools.h"

namespace {

constexpr size_t longestValue = 255;
constexpr byte endOfText = 26;

const char* const sections[] = {"", "Common", "ECR_Till1"};
const char* const keys[] = {"TTY", "Password", "DefaultECR", ""};

void CheckValue(const char* section, const char* key, bool isReadable) {
    const std::string value = IniFile::GetString(section, key, "");
    Require(isReadable || value.empty(), "a file with a NUL has no settings");
    Require(value.size() <= longestValue, "a value has at most 255 characters");
    Require(value.empty() || (std::isspace(static_cast<byte>(value.front())) == 0 &&
                              std::isspace(static_cast<byte>(value.back())) == 0),
            "a value has no blanks around it");
    Require(value.find_first_of(std::string("\r\n\f\0\x1a", 5)) == std::string::npos,
            "a value is in one line");
    Require(IniFile::ContainsKey(section, key) == !value.empty(), "a key is there when it has a value");
    Require(IniFile::GetString(ToUpper(section), ToLower(key), "") == value, "letter case does not matter");
}

/** Loads the configuration from a file of this text. */
void Load(const ScratchFile& file) {
    AppConfig::Clear();
    AppConfig::SetParameter("ConfigFilePath", file.Path(), false);
    AppConfig::SetParameter("ECR", "Fuzz", false);
    AppConfig::Initialize();
}

void CheckText(const Bytes& content) {
    const ScratchFile file(content);
    Load(file);
    const std::string text(content.begin(), content.end());
    const std::string readText = text.substr(0, text.find(static_cast<char>(endOfText)));
    const bool isReadable = readText.find('\0') == std::string::npos;
    for (const char* section : sections)
        for (const char* key : keys) CheckValue(section, key, isReadable);
    const std::string ecrSection = AppConfig::GetDefaultEcrName();
    if (ecrSection.empty()) return;
    Require(ecrSection.compare(0, 4, "ECR_") == 0, "the default is a section of a register");
    Require(IniFile::ContainsKey("Common", "DefaultECR") ||
                text.find("[" + ecrSection + "]") != std::string::npos,
            "the default is named in the file");
}

/** Settings in lines of their own are found whatever stands ahead of them, the register's own first. */
void CheckSettingsBehind(Bytes content) {
    for (const byte c : content)
        if (c == 0 || c == endOfText) return;
    const std::string settings = "\n[Common]\nMark=common\nOther = 7\r\n[ECR_Fuzz]\nMark =  own \nTTY=";
    content.insert(content.end(), settings.begin(), settings.end());
    const ScratchFile file(content);
    Load(file);
    Require(IniFile::GetString("Common", "Mark", "") == "common", "a setting of all registers is found");
    Require(AppConfig::GetParameter("mark", "") == "own", "a register's own setting wins");
    Require(IniFile::GetString("ECR_Fuzz", "TTY", "x").empty(), "a setting may be empty");
    AppConfig::SetParameter("Mark", "run", false);
    Require(AppConfig::GetParameter("Mark", "") == "run", "a setting of the run wins");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes content(data, data + size);
    CheckText(content);
    CheckSettingsBehind(content);
    return 0;
}
