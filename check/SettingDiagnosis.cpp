#include "SettingDiagnosis.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "AppConfig.h"
#include "EcrComm/CommChannels/Linux/LineSettings.h"
#include "FileIo.h"
#include "Format.h"
#include "IniFile.h"
#include "Outcome/Hints.h"
#include "Settings.h"
#include "Tools.h"

namespace {

/** The place of the INI file that a section is; none for a text that AppConfig never asks for. */
SettingPlace PlaceOf(const std::string& section) {
    const std::string prefix = AppConfig::ecrSectionPrefix;
    if (section.empty()) return SettingPlace_Top;
    if (IniFile::IsSameName(section, AppConfig::commonSection)) return SettingPlace_Common;
    if (IniFile::IsSameName(section, AppConfig::nightSection)) return SettingPlace_Night;
    return IniFile::IsSameName(section.substr(0, prefix.size()), prefix) ? SettingPlace_EcrSection
                                                                         : SettingPlace_None;
}

/** The row of a name in the INI file, where its case does not matter. */
const Setting* FindInFile(const std::string& key) {
    const auto* const found =
        std::find_if(std::begin(settings::all), std::end(settings::all),
                     [&](const Setting* setting) { return IniFile::IsSameName(key, setting->name); });
    return found == std::end(settings::all) ? nullptr : *found;
}

std::string DiagnoseName(const std::string& name, const char* prefix) {
    const std::string nearest = GetNearestSetting(name);
    return prefix + Printable(name) + ": no such setting" +
           (nearest.empty() ? "" : ", " + (prefix + nearest) + "?");
}

std::string DiagnosePlace(const Setting& setting, SettingPlace place) {
    if ((setting.places & place) != 0) return "";
    constexpr struct {
        SettingPlace place;
        const char* name;
    } names[] = {{SettingPlace_CommandLine, "on the command line"},
                 {SettingPlace_EcrSection, "in the section of a register"},
                 {SettingPlace_Common, "in [Common]"},
                 {SettingPlace_Night, "in [Night]"},
                 {SettingPlace_Top, "above the first section heading of the INI file"}};
    std::string places;
    for (const auto& entry : names)
        if ((setting.places & entry.place) != 0)
            places += (places.empty() ? "" : " or ") + std::string(entry.name);
    return std::string(setting.name) + " has an effect only " + places;
}

/** Of a time in ms that the port counts in a byte of tenths of a second. */
std::string DiagnoseTime(const char* names, long long time) {
    if (time <= maxWaitTime) return "";
    return Format(
        "%s: of %lld ms only %lld are waited, as the port counts up to 25.5 s and begins again at 0", names,
        time, time % (maxWaitTime + 1) / 100 * 100);
}

std::string DiagnoseNumber(const Setting& setting, const std::string& value) {
    const int number = ToInt(value);
    const size_t first = value[0] == '-' || value[0] == '+' ? 1 : 0;
    if (value.size() == first || value.find_first_not_of("0123456789", first) != std::string::npos)
        return Format("%s: '%s' is no number: it counts as %d", setting.name, Printable(value).c_str(),
                      number);
    if (std::strtoll(value.c_str(), nullptr, 10) != number)
        return Format("%s: %s is too large: it counts as %d", setting.name, value.c_str(), number);
    if (number >= setting.range.least && number <= setting.range.most) return "";
    if (setting.range.most == maxWaitTime && number > maxWaitTime) return DiagnoseTime(setting.name, number);
    return setting.range.most == INT_MAX
               ? Format("%s: %d is less than %d", setting.name, number, setting.range.least)
               : Format("%s: %d is not from %d to %d", setting.name, number, setting.range.least,
                        setting.range.most);
}

/** Of the line settings what has no effect, as one key or another is misspelt. */
std::string DiagnoseComSettings(const std::string& value) {
    std::string rest;
    for (size_t start = 0, end; start < value.size(); start = end + 1) {
        end = std::min(value.find_first_of(" \t,;", start), value.size());
        const std::string word = value.substr(start, end - start);
        size_t known = word.size();  // a key counts in the middle of a word, too
        for (const char* key : {"baud=", "data=", "stop=", "parity=", "rts=", "dtr=", "octs="})
            known = std::min(known, word.find(key));
        rest += word.substr(0, known);
    }
    if (rest.empty()) return "";
    return "ComSettings: '" + Printable(rest) + "' has no effect; the line is set up as " +
           Printable(ToComSettings(ParseLineSettings(value)));
}

std::string DiagnoseFileType(const std::string& value) {
    std::string names;
    for (size_t i = 0; i < fileTypeCount; i++) {
        const char* const name = KindOf(static_cast<FileType>(i)).setting;
        if (ToUpper(value) == name) return "";
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return "FileType: '" + Printable(value) + "' is none of " + names;
}

std::string DiagnoseText(const Setting& setting, const std::string& value) {
    std::string name = setting.name;
    const std::string shown = &setting == &settings::password ? "..." : "'" + Printable(value) + "'";
    for (const char* comment : {" ;", "\t;", " #", "\t#"})  // which the shell has
        if (&setting != &settings::onTrouble && value.find(comment) != std::string::npos)
            return name.append(": there are no comments, the whole value is ").append(shown);
    if (&setting == &settings::comSettings) return DiagnoseComSettings(value);
    if (&setting == &settings::fileType) return DiagnoseFileType(value);
    if (&setting == &settings::delimiter && value.size() > 1)
        return name + ": of " + shown + " only the first character is taken";
    if (&setting == &settings::tty && value[0] == '/')
        return name + ": " + shown + " is not the name below /dev/";
    return "";
}

/** What is odd about a value that is not empty. */
std::string DiagnoseValue(const Setting& setting, const std::string& value) {
    return setting.isNumber ? DiagnoseNumber(setting, value) : DiagnoseText(setting, value);
}

class Warnings {
public:
    /** An empty warning is none. */
    void Add(const std::string& place, const std::string& warning) {
        if (!warning.empty()) texts.push_back(place + warning);
    }
    std::vector<std::string> texts;
};

void DiagnoseCommandLine(Warnings& warnings) {
    for (const auto& [name, value] : AppConfig::GetParameters()) {
        if (value.empty()) continue;
        const Setting* const setting = FindSetting(name);
        if (setting == nullptr) {
            warnings.Add("", DiagnoseName(name, "/"));
            continue;
        }
        warnings.Add("/", DiagnosePlace(*setting, SettingPlace_CommandLine));
        warnings.Add("/", DiagnoseValue(*setting, value));
    }
}

/** A section that is none of AppConfig's, though it looks like one: texts of several words are for readers.
 */
std::string DiagnoseHeading(const std::string& section) {
    if (Printable(section) != section)
        return "[" + Printable(section) + "]: a control character stands in this name";
    if (IniFile::IsSameName(section, AppConfig::ecrSectionPrefix))
        return "[" + section + "]: the register has no name";
    const bool looksLikeEcr = ToUpper(section).compare(0, 3, "ECR") == 0;
    if (!section.empty() && PlaceOf(section) != SettingPlace_None) return "";
    if (!looksLikeEcr && (section.empty() || section.find(' ') != std::string::npos)) return "";
    const std::string name = Printable(Trim(section.substr(looksLikeEcr ? 3 : 0), " -.:"));
    return "[" + Printable(section) + "]: nothing selects this section" +
           (looksLikeEcr && !name.empty() ? ", [ECR_" + name + "]?" : "");
}

/** A line without an equals sign that begins with the name of a setting. */
std::string DiagnoseKeylessLine(const std::string& line) {
    const std::string text = Trim(line, " \t\r");
    if (!text.empty() && (text.front() == '[') != (text.back() == ']'))
        return "'" + Printable(text) + "' is no heading: a bracket is missing";
    const std::string word = text.substr(0, text.find_first_of(" \t:"));
    return FindInFile(word) == nullptr ? "" : "'" + Printable(text) + "' has no equals sign, and no effect";
}

/** A setting in a section that nothing reads; one with its default may be there to be copied. */
std::string DiagnoseUnread(const IniLine& line) {
    const Setting* const setting = line.key ? FindInFile(*line.key) : nullptr;
    const bool isMeant = setting != nullptr && !line.value.empty() && line.value != GetDefault(*setting);
    return isMeant ? std::string(setting->name) + " has no effect in [" + Printable(line.section) +
                         "], which nothing reads"
                   : "";
}

void DiagnoseLine(const IniLine& line, Warnings& warnings) {
    const std::string place = Format("line %d: ", line.number);
    if (line.isHeading) warnings.Add(place, DiagnoseHeading(line.section));
    const bool isComment = line.key && (line.key->empty() || (*line.key)[0] == ';' || (*line.key)[0] == '#');
    const SettingPlace section = PlaceOf(line.section);
    if (section == SettingPlace_None) warnings.Add(place, DiagnoseUnread(line));
    if (section == SettingPlace_None || isComment) return;
    if (!line.isHeading && !line.key) warnings.Add(place, DiagnoseKeylessLine(line.text));
    if (!line.key) return;
    const Setting* const setting = FindInFile(*line.key);
    if (setting == nullptr) {
        warnings.Add(place, DiagnoseName(*line.key, ""));
        return;
    }
    warnings.Add(place, DiagnosePlace(*setting, section));
    if (!line.value.empty()) warnings.Add(place, DiagnoseValue(*setting, line.value));
}

/** What makes the file be read otherwise than an editor shows it. */
void DiagnoseBytes(Warnings& warnings) {
    const std::optional<IniText> read = IniFile::ReadText();
    if (!read) return;
    const std::string& text = read->text;
    const std::string last =
        Format("line %d: ", static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1);
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0)
        warnings.Add("line 1: ",
                     "the file begins with a UTF-8 byte-order mark, which belongs to the first line: save it "
                     "without one");
    if (read->end == '\0')
        warnings.Add(last,
                     "a NUL byte makes the whole file unreadable: save it as plain text, not as UTF-16");
    if (read->end == '\x1A') warnings.Add(last, "a Ctrl-Z (1a) ends the file: what follows has no effect");
}

/** The register that is used is found by headings in just this form, and none if there are several. */
void DiagnoseSections(Warnings& warnings) {
    const std::string section = AppConfig::GetEcrSection();
    const std::vector<std::string> registers = AppConfig::GetEcrNames();
    const auto isUsed = [&](const std::string& name) {
        return IniFile::IsSameName(AppConfig::ecrSectionPrefix + name, section);
    };
    if (!section.empty() && std::none_of(registers.begin(), registers.end(), isUsed))
        warnings.Add("", "the INI file has no section [" + Printable(section) + "]");
    if (section.empty() && registers.size() > 1)
        warnings.Add("",
                     "no register is named, and the INI file has several: /ECR= or, in [Common], DefaultECR");
    if (section.empty() && registers.size() == 1)
        warnings.Add(
            "", "the section of " + Printable(registers[0]) +
                    " is not used without /ECR= or DefaultECR: it is, if its heading is a line of its own "
                    "that begins with [ECR_ and stands once");
}

/** A setting that stands in one section again: the last one holds, also without a value. */
void DiagnoseRepeats(Warnings& warnings) {
    std::map<std::string, std::pair<int, std::string>> last;  // by section and name
    IniFile::VisitLines([&](const IniLine& line) {
        if (!line.key || FindInFile(*line.key) == nullptr) return;
        const auto [former, isFirst] =
            last.try_emplace(ToUpper(line.section + "]" + *line.key), line.number, line.value);
        if (!isFirst && !former->second.second.empty())
            warnings.Add(Format("line %d: ", former->second.first),
                         *line.key + Format(" has no effect: line %d has it again", line.number));
        former->second = {line.number, line.value};
    });
}

/** Each alone may be short enough. */
void DiagnoseSum(Warnings& warnings) {
    const int operationTime = AppConfig::Get(settings::ecrOperationMaxTime);
    const int commTime = AppConfig::Get(settings::ecrCommMaxTime);
    const long long sum = static_cast<long long>(operationTime) + commTime;
    if (operationTime <= maxWaitTime && commTime <= maxWaitTime)
        warnings.Add("", DiagnoseTime("EcrOperationMaxTime and EcrCommMaxTime together", sum));
}

/** A register that has given a session up takes a repeated frame for a new one. */
void DiagnosePatience(Warnings& warnings) {
    const int patience = AppConfig::Get(settings::ecrPatienceTime);
    const int attempts = AppConfig::Get(settings::serialProtocolRetryCount);
    const int waitTime = AppConfig::Get(settings::serialProtocolResponseMaxTime);
    const long long lastRepeat = static_cast<long long>(attempts) * waitTime;  // has arrived by then
    if (patience <= 0 || lastRepeat <= patience) return;
    warnings.Add(
        "", Format("SerialProtocolRetryCount and SerialProtocolResponseMaxTime: a frame is sent again for "
                   "up to %lld ms, but the register keeps a session for %d (EcrPatienceTime): it may do "
                   "twice what it is asked once",
                   lastRepeat, patience));
}

}  // namespace

std::vector<std::string> DiagnoseSettings() {
    Warnings warnings;
    warnings.Add("", GetIniFileHint());
    DiagnoseCommandLine(warnings);
    DiagnoseBytes(warnings);
    IniFile::VisitLines([&](const IniLine& line) { DiagnoseLine(line, warnings); });
    DiagnoseRepeats(warnings);
    DiagnoseSections(warnings);
    DiagnoseSum(warnings);
    DiagnosePatience(warnings);
    return warnings.texts;
}
