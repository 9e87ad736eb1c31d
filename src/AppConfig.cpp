#include "AppConfig.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>
#include <string_view>

#include "IniFile.h"
#include "Path.h"
#include "System/Interrupt.h"
#include "Tools.h"

namespace {

constexpr const char* iniFileName = "TAVO.ini";

std::map<std::string, std::string> m_parameters;
std::string m_ecrSection;

/** The name after "[ECR_" of a heading line; nothing for any other line. */
std::optional<std::string> EcrNameOfHeading(const std::string& line) {
    const std::string opening = std::string("[") + AppConfig::ecrSectionPrefix;
    if (line.compare(0, opening.size(), opening) != 0 || line.back() != ']') return std::nullopt;
    return line.substr(opening.size(), line.size() - opening.size() - 1);
}

}  // namespace

void AppConfig::Clear() {
    m_parameters.clear();
    m_ecrSection.clear();
}

void AppConfig::SetParameter(const std::string& name, const std::string& value, bool persistent) {
    m_parameters[name] = value;
    if (persistent) IniFile::SetString(m_ecrSection.empty() ? commonSection : m_ecrSection, name, value);
}

Parameter AppConfig::FindParameter(const std::string& name) {
    const auto entry = m_parameters.find(name);
    if (entry != m_parameters.end() && !entry->second.empty())
        return {entry->second, SettingPlace_CommandLine};
    std::string value;
    // an empty section name would reach the keys above the first heading
    if (!m_ecrSection.empty()) value = IniFile::GetString(m_ecrSection, name, "");
    if (!value.empty()) return {value, SettingPlace_EcrSection};
    value = IniFile::GetString(commonSection, name, "");
    return {value, value.empty() ? SettingPlace_None : SettingPlace_Common};
}

std::string AppConfig::GetParameter(const std::string& name, const std::string& defValue) {
    const Parameter parameter = FindParameter(name);
    return parameter.value.empty() ? defValue : parameter.value;
}

int AppConfig::GetParameter(const std::string& name, int defValue) {
    const std::string value = GetParameter(name, "");
    return value.empty() ? defValue : ToInt(value);
}

std::string AppConfig::Get(const TextSetting& setting) {
    return GetParameter(setting.name, setting.byDefault);
}

int AppConfig::Get(const NumberSetting& setting) {
    return GetParameter(setting.name, setting.range.byDefault);
}

bool AppConfig::HasParameter(const std::string& name) { return !GetParameter(name, "").empty(); }

const std::map<std::string, std::string>& AppConfig::GetParameters() { return m_parameters; }

void AppConfig::Initialize() {
    std::string configFilePath = m_parameters[settings::configFilePath.name];
    if (configFilePath.empty()) configFilePath = GetConfigFilePath();
    IniFile::SetFile(configFilePath, false);
    // The name comes from the command line only: an "ECR" key in the INI file selects the bare section
    // "ECR_".
    if (HasParameter(settings::ecr.name)) m_ecrSection = ecrSectionPrefix + m_parameters[settings::ecr.name];
    if (m_ecrSection.empty()) m_ecrSection = GetDefaultEcrName();
}

std::string AppConfig::GetEcrSection() { return m_ecrSection; }

std::vector<std::string> AppConfig::GetEcrNames() {
    constexpr size_t prefixLength = std::string_view(ecrSectionPrefix).size();
    std::vector<std::string> names;
    std::set<std::string> known;  // in capital letters
    IniFile::VisitLines([&](const IniLine& line) {
        if (!line.isHeading || !IniFile::IsSameName(line.section.substr(0, prefixLength), ecrSectionPrefix))
            return;
        const std::string name = line.section.substr(prefixLength);
        if (known.insert(ToUpper(name)).second) names.push_back(name);
    });
    return names;
}

std::string AppConfig::GetConfigFilePath() {
    const std::string besideProgram = Path::Combine(GetAppDirectory(), iniFileName);
    return File::Exists(besideProgram) ? besideProgram : Path::Combine(GetConfigDirectory(), iniFileName);
}

std::string AppConfig::GetDefaultEcrName() {
    const std::string name = IniFile::GetString(commonSection, settings::defaultEcr.name, "");
    if (!name.empty()) return ecrSectionPrefix + name;

    const FileStream file = IniFile::OpenForReading();
    if (!file) return "";
    std::string lastName;
    int count = 0;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, file.get()) != nullptr) {
        CheckInterrupt();  // a device has no end
        const std::optional<std::string> ecrName = EcrNameOfHeading(Trim(buffer, " \t\r\n"));
        if (!ecrName) continue;
        lastName = *ecrName;
        count++;
    }
    return count == 1 ? ecrSectionPrefix + lastName : "";
}
