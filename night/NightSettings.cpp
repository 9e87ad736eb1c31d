#include "NightSettings.h"

#include <climits>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>

#include "AppConfig.h"
#include "Exceptions.h"
#include "Format.h"
#include "IniFile.h"
#include "Options/CommandLine.h"
#include "Outcome/Hints.h"
#include "System/AtomicFile.h"
#include "Tools.h"

namespace {

/** AppConfig reads the file for every question, which a thousand registers would wait for. */
class Settings {
public:
    Settings() {
        IniFile::VisitLines([&](const IniLine& line) {
            if (line.key) m_lines[ToUpper(line.section) + "\n" + ToUpper(*line.key)] = line;
        });
    }

    /** As AppConfig finds it, for the register of this name; empty for no register. */
    std::string Find(const Setting& setting, const std::string& registerName) const {
        const std::string word = FindWord(setting);
        const IniLine* const line = word.empty() ? FindLine(setting, registerName) : nullptr;
        return line != nullptr ? line->value : word;
    }
    std::string Get(const TextSetting& setting, const std::string& registerName = "") const {
        const std::string value = Find(setting, registerName);
        return value.empty() ? setting.byDefault : value;
    }
    int Get(const NumberSetting& setting, const std::string& registerName = "") const {
        const std::string value = Find(setting, registerName);
        if (value.empty()) return setting.range.byDefault;
        return ParseNumber(setting, registerName, value, setting.range.least, setting.range.most);
    }
    /** "70,71" */
    std::vector<int> GetList(const TextSetting& setting, const std::string& registerName) const {
        constexpr int largest = 255;
        const std::string value = Get(setting, registerName);
        std::vector<int> numbers;
        for (size_t start = 0, end; start <= value.size(); start = end + 1) {
            end = std::min(value.find(',', start), value.size());
            const std::string one = Trim(value.substr(start, end - start), " ");
            numbers.push_back(ParseNumber(setting, registerName, one, 0, largest));
        }
        return numbers;
    }
    /** Names the line where it stands. */
    [[noreturn]] void Refuse(const Setting& setting, const std::string& registerName,
                             const std::string& why) const {
        const IniLine* const line = FindWord(setting).empty() ? FindLine(setting, registerName) : nullptr;
        const std::string place =
            line == nullptr ? ""
                            : Format("%s, line %d: ", Printable(IniFile::GetFile()).c_str(), line->number);
        throw new ConfigurationException(place + setting.name + " = " +
                                         Printable(Find(setting, registerName)) + " " + why);
    }

private:
    /** On the command line. */
    static std::string FindWord(const Setting& setting) {
        const auto& given = AppConfig::GetParameters();
        const auto word = given.find(setting.name);
        return word == given.end() ? "" : word->second;
    }
    const IniLine* FindLine(const Setting& setting, const std::string& registerName) const {
        const bool isNights = (setting.places & SettingPlace_Night) != 0;
        const std::string ownSection = registerName.empty() ? "" : AppConfig::ecrSectionPrefix + registerName;
        for (const std::string& section :
             {ownSection, std::string(isNights ? AppConfig::nightSection : AppConfig::commonSection)}) {
            const auto found = m_lines.find(ToUpper(section) + "\n" + ToUpper(setting.name));
            if (found != m_lines.end() && !section.empty() && !found->second.value.empty())
                return &found->second;
        }
        return nullptr;
    }
    int ParseNumber(const Setting& setting, const std::string& registerName, const std::string& value,
                    int least, int most) const {
        const int number = ToInt(value);
        if (value.empty() || !IsNumber(value) || number < least || number > most || number == INT_MAX)
            Refuse(setting, registerName, Format("is no number from %d to %d", least, most));
        return number;
    }

    std::map<std::string, IniLine> m_lines;  // of SECTION and NAME
};

/** Of a path in the folder, or anywhere. */
std::string Locate(const std::string& folder, const std::string& path) {
    return path.find('/') == std::string::npos ? folder + "/" + path : path;
}

/** Absolute, also where it is not there yet. */
std::string GetFolder(const Settings& all) {
    const std::string given = TrimRight(all.Get(settings::folder), "/");
    std::string real = GetRealPath(given);
    if (!real.empty()) return real;
    return given[0] == '/' ? given : GetRealPath(".") + "/" + given;
}

RegisterSettings LoadRegister(const Settings& all, const std::string& folder, const std::string& name) {
    RegisterSettings loaded;
    loaded.name = name;
    loaded.tty = all.Find(settings::tty, name);
    loaded.prices = Locate(folder, all.Get(settings::prices, name));
    loaded.section = all.Get(settings::section, name);
    loaded.reports = all.GetList(settings::report, name);
    for (const int report : loaded.reports) {
        if (std::count(loaded.reports.begin(), loaded.reports.end(), report) > 1)
            all.Refuse(settings::report, name, Format("has %d twice", report));
        if (report == loaded.section && File::Exists(loaded.prices))
            all.Refuse(settings::report, name, "has the Section of the prices");
    }
    if (!all.Find(settings::prices, name).empty() && !File::Exists(loaded.prices))
        all.Refuse(settings::prices, name, "is not there: " + Printable(loaded.prices));
    loaded.delimiter = all.Get(settings::delimiter, name)[0];
    for (const Setting* setting : std::initializer_list<const Setting*>{
             &settings::delimiter, &settings::fileType, &settings::serialProtocolVersion,
             &settings::ignoreDuplicates, &settings::sortInputFileLines})
        loaded.fileRules += all.Find(*setting, name) + "\n";
    // a night has no other register to wait for: it must end, and lines are not closed in the middle of an
    // answer
    constexpr const char* scriptTime = "2000";
    constexpr const char* quietTime = "2500";
    if (all.Find(settings::comStallMaxTime, name).empty())
        loaded.forRuns.push_back(Format("/%s=%s", settings::comStallMaxTime.name, scriptTime));
    if (all.Find(settings::lineQuietTime, name).empty())
        loaded.forRuns.push_back(Format("/%s=%s", settings::lineQuietTime.name, quietTime));
    return loaded;
}

/** What two names of one port have in common. */
std::string GetPort(const std::string& tty) {
    const std::string real = tty.empty() ? "" : GetRealPath("/dev/" + tty);
    return real.empty() ? tty : real;
}

/** One that cannot be served as it is set is left out, and told. */
void AddRegister(NightSettings& night, const Settings& all, const std::string& name,
                 std::map<std::string, std::string>& ports) {
    const auto leaveOut = [&](const std::string& why) {
        night.leftOut.push_back(name);
        night.problems.push_back("[ECR_" + Printable(name) + "] is left out: " + why);
    };
    if (name.empty() || Printable(name) != name) return leaveOut("no register can have this name");
    try {
        const RegisterSettings loaded = LoadRegister(all, night.folder, name);
        // the report of one would pass for the other's
        const std::string port = GetPort(loaded.tty);
        if (!port.empty() && !ports.emplace(port, name).second)
            return leaveOut(ports[port] + " has the same TTY");
        night.registers.push_back(loaded);
    } catch (Exception* e) {
        const std::unique_ptr<Exception> failure(e);
        leaveOut(failure->Explain());
    }
}

/** Those of tavo go on to it. */
std::vector<std::string> SelectForRuns(const std::vector<std::string>& words) {
    std::vector<std::string> selected;
    for (const std::string& word : words) {
        std::string name;
        std::string value;
        ParseConfigParam(word, name, value);
        for (const Setting* own :
             std::initializer_list<const Setting*>{&settings::ecr, &settings::resultFile})
            if (name == own->name) throw new CommandLineException("/" + name + " is set by the night itself");
        const Setting* const setting = FindSetting(name);
        if (setting == nullptr) throw new CommandLineException("no setting /" + Printable(name));
        if ((setting->places & SettingPlace_Night) == 0) selected.push_back(word);
    }
    return selected;
}

}  // namespace

NightSettings LoadNightSettings(const std::vector<std::string>& words) {
    NightSettings night;
    night.forEveryRun = SelectForRuns(words);
    LoadSettings(words);
    if (const std::string hint = GetIniFileHint(); !hint.empty()) throw new ConfigurationException(hint);
    const Settings all;
    constexpr int msPerSecond = 1000;
    constexpr long long msPerHour = 3'600'000;
    night.folder = GetFolder(all);
    night.tries = all.Get(settings::tries);
    night.pauseMs = std::min(all.Get(settings::pause), INT_MAX / msPerSecond) * msPerSecond;
    night.jobs = all.Get(settings::jobs);
    night.maxAgeMs = all.Get(settings::maxAge) * msPerHour;
    night.keepMs = all.Get(settings::keep) * 24LL * msPerHour;
    night.onTrouble = all.Get(settings::onTrouble);
    const std::optional<IniText> text = IniFile::ReadText();
    if (text && text->end)
        night.problems.push_back(Printable(IniFile::GetFile()) + " ends at a control character");
    std::map<std::string, std::string> ports;
    for (const std::string& name : AppConfig::GetEcrNames()) AddRegister(night, all, name, ports);
    return night;
}
