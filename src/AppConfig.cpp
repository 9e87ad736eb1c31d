#include "AppConfig.h"

#include <cstdio>
#include <map>
#include <optional>

#include "IniFile.h"
#include "Path.h"
#include "Tools.h"

namespace {

constexpr const char* iniFileName = "TAVO.ini";
constexpr const char* commonSection = "Common";
const std::string ecrSectionPrefix = "ECR_";

std::map<std::string, std::string> m_parameters;
std::string m_ecrSection;

/** The name after "[ECR_" of a heading line; nothing for any other line. */
std::optional<std::string> EcrNameOfHeading(const std::string& line) {
    const std::string opening = "[" + ecrSectionPrefix;
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

std::string AppConfig::GetParameter(const std::string& name, const std::string& defValue) {
    const auto entry = m_parameters.find(name);
    if (entry != m_parameters.end() && !entry->second.empty()) return entry->second;
    std::string value;
    // an empty section name would reach the keys above the first heading
    if (!m_ecrSection.empty()) value = IniFile::GetString(m_ecrSection, name, "");
    if (value.empty()) value = IniFile::GetString(commonSection, name, "");
    return value.empty() ? defValue : value;
}

int AppConfig::GetParameter(const std::string& name, int defValue) {
    const std::string value = GetParameter(name, "");
    return value.empty() ? defValue : ToInt(value);
}

bool AppConfig::HasParameter(const std::string& name) { return !GetParameter(name, "").empty(); }

void AppConfig::Initialize() {
    std::string configFilePath = m_parameters["ConfigFilePath"];
    if (configFilePath.empty()) configFilePath = GetConfigFilePath();
    IniFile::SetFile(configFilePath, false);
    // The name comes from the command line only: an "ECR" key in the INI file selects the bare section
    // "ECR_".
    if (HasParameter("ECR")) m_ecrSection = ecrSectionPrefix + m_parameters["ECR"];
    if (m_ecrSection.empty()) m_ecrSection = GetDefaultEcrName();
}

std::string AppConfig::GetConfigFilePath() {
    const std::string besideProgram = Path::Combine(GetAppDirectory(), iniFileName);
    return File::Exists(besideProgram) ? besideProgram : Path::Combine(GetConfigDirectory(), iniFileName);
}

std::string AppConfig::GetDefaultEcrName() {
    const std::string name = IniFile::GetString(commonSection, "DefaultECR", "");
    if (!name.empty()) return ecrSectionPrefix + name;

    const FileStream file = IniFile::OpenForReading();
    if (!file) return "";
    std::string lastName;
    int count = 0;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, file.get()) != nullptr) {
        const std::optional<std::string> ecrName = EcrNameOfHeading(Trim(buffer, " \t\r\n"));
        if (!ecrName) continue;
        lastName = *ecrName;
        count++;
    }
    return count == 1 ? ecrSectionPrefix + lastName : "";
}
