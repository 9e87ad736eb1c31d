#include "Tables.h"

#include <climits>

#include "CheckOptions.h"
#include "EcrComm/CommChannels/FrameVersion.h"
#include "Format.h"
#include "LineOptions.h"
#include "NightOptions.h"
#include "Options.h"
#include "Options/CommandLine.h"
#include "Outcome/ExitStatus.h"
#include "Settings.h"

namespace {

std::string MeaningOf(const Setting& setting) { return WithFrameVersions(setting.meaning); }

/** The numbers that are taken as they stand; empty for a text. */
std::string GetValues(const Setting& setting) {
    if (!setting.isNumber) return "";
    return setting.range.most == INT_MAX ? Format("%d and more", setting.range.least)
                                         : Format("%d to %d", setting.range.least, setting.range.most);
}

/** Plain text for a manual page. */
std::string Roff(const std::string& text) {
    std::string roff;
    for (const char c : text) {
        if (c == '-' || c == '\\') roff += '\\';
        roff += c == '\\' ? 'e' : c;
    }
    return roff;
}

std::string GetSettingsMan() {
    std::string text;
    for (const Setting* setting : settings::all) {
        text += Format(".TP\n.B %s\n", setting->name) + Roff(MeaningOf(*setting));
        const std::string value = GetDefault(*setting);
        const std::string unit = *setting->unit == '\0' ? "" : Format(" (%s)", setting->unit);
        text += value.empty() ? ".\n" : Roff(Format("; default %s%s.\n", value.c_str(), unit.c_str()));
    }
    return text;
}

std::string GetSettingsIni() {
    std::string text;
    for (const Setting* setting : settings::all)
        text += Format("\n%s%s: %s\n%s = %s\n", setting->name,
                       *setting->unit == '\0' ? "" : Format(" (%s)", setting->unit).c_str(),
                       MeaningOf(*setting).c_str(), setting->name, GetDefault(*setting).c_str());
    return text;
}

std::string GetSettingNames() {
    std::string text;
    for (const Setting* setting : settings::all) text += std::string(text.empty() ? "" : " ") + setting->name;
    return text;
}

std::string GetExitStatusesMan() {
    std::string text;
    for (const ExitStatus& status : exitStatuses) {
        text += Format(".TP\n.BR %d \" (%s, %s)\"\n", status.code, status.name,
                       Roff(statusClassNames[status.statusClass]).c_str()) +
                Roff(std::string(status.meaning) + ".\n");
        if (*status.whatToDo != '\0') text += Roff(Format("What to do: %s.\n", status.whatToDo));
    }
    return text;
}

std::string GetCommands() {
    std::string text;
    for (const std::string& name : GetCommandNames()) text += (text.empty() ? "" : " ") + name;
    return text;
}

std::string GetNames(const std::vector<OptionHelp>& options) {
    std::string text;
    for (const OptionHelp& option : options) text += (text.empty() ? "" : " ") + option.name;
    return text;
}

std::string GetMan(const std::vector<OptionHelp>& options) {
    std::string text;
    for (const OptionHelp& option : options)
        text += ".TP\n.BI " + Roff(option.name) + " \" " + Roff(option.argument) + "\"\n" +
                Roff(option.meaning) + ".\n";
    return text;
}

}  // namespace

std::string GetSettingsMarkdown() {
    std::string text = "| Name | Default | Values | Unit | Meaning |\n|---|---|---|---|---|\n";
    for (const Setting* setting : settings::all) {
        const std::string value = GetDefault(*setting);
        text += Format("| `%s` | %s | %s | %s | %s |\n", setting->name,
                       value.empty() ? "" : ("`" + value + "`").c_str(), GetValues(*setting).c_str(),
                       setting->unit, MeaningOf(*setting).c_str());
    }
    return text;
}

std::string GetExitStatusesMarkdown() {
    std::string text = "| Status | Name | Class | Meaning | What to do |\n|---|---|---|---|---|\n";
    for (const ExitStatus& status : exitStatuses)
        text += Format("| %d | %s | %s | %s | %s |\n", status.code, status.name,
                       statusClassNames[status.statusClass], status.meaning, status.whatToDo);
    return text;
}

std::string FillTemplate(std::string text) {
    const struct {
        const char* placeholder;
        std::string value;
    } values[] = {{"@VERSION@", TAVO_VERSION},
                  {"@COMMANDS@", GetCommands()},
                  {"@SETTINGS@", GetSettingNames()},
                  {"@SETTINGS_MAN@\n", GetSettingsMan()},
                  {"@SETTINGS_INI@\n", GetSettingsIni()},
                  {"@EXIT_STATUSES_MAN@\n", GetExitStatusesMan()},
                  {"@ECRSIM_OPTIONS@", GetNames(GetOptionHelp())},
                  {"@ECRSIM_OPTIONS_MAN@\n", GetMan(GetOptionHelp())},
                  {"@CHECK_OPTIONS@", GetNames(GetCheckOptionHelp())},
                  {"@CHECK_OPTIONS_MAN@\n", GetMan(GetCheckOptionHelp())},
                  {"@LINE_OPTIONS@", GetNames(GetLineOptionHelp())},
                  {"@LINE_OPTIONS_MAN@\n", GetMan(GetLineOptionHelp())},
                  {"@NIGHT_OPTIONS@", GetNames(GetNightOptionHelp())},
                  {"@NIGHT_OPTIONS_MAN@\n", GetMan(GetNightOptionHelp())}};
    for (const auto& entry : values)
        for (size_t at; (at = text.find(entry.placeholder)) != std::string::npos;)
            text.replace(at, std::string(entry.placeholder).size(), entry.value);
    return text;
}
