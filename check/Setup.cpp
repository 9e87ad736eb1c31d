#include "Setup.h"

#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "AppConfig.h"
#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/Protocols.h"
#include "Format.h"
#include "IniFile.h"
#include "LogFile.h"
#include "Logging.h"
#include "Outcome/RunResult.h"
#include "Path.h"
#include "SettingDiagnosis.h"
#include "Text/Json.h"
#include "Tools.h"

namespace {

bool MayAccess(const std::string& path, int mode) { return access(path.c_str(), mode) == 0; }

void InspectIniFile(Setup& setup) {
    setup.iniFile = IniFile::GetFile();
    const std::string beside = GetAppDirectory();
    const bool isNamed =
        AppConfig::FindParameter(settings::configFilePath.name).place == SettingPlace_CommandLine;
    if (isNamed)
        setup.whyIniFile = "named by /ConfigFilePath";
    else if (Path::GetDirectoryName(setup.iniFile) == beside)
        setup.whyIniFile = "beside the program";
    else
        setup.whyIniFile = "none is beside the program, in " + beside;
    if (!File::Exists(setup.iniFile))
        setup.whyIniFile += "; it does not exist, so that every setting has its default";
    else if (!MayAccess(setup.iniFile, R_OK))
        setup.whyIniFile += "; this user may not read it, so that every setting has its default";
}

void InspectSection(Setup& setup) {
    setup.registers = AppConfig::GetEcrNames();
    setup.section = AppConfig::GetEcrSection();
    const SettingPlace place = AppConfig::FindParameter(settings::ecr.name).place;
    if (place == SettingPlace_CommandLine)
        setup.whySection = "named by /ECR";
    else if (place != SettingPlace_None)
        setup.whySection = "an ECR in the INI file selects the section without a name";
    else if (!IniFile::GetString(AppConfig::commonSection, settings::defaultEcr.name, "").empty())
        setup.whySection = "named by DefaultECR";
    else if (!setup.section.empty())
        setup.whySection = "the only one";
    else
        setup.whySection = setup.registers.empty() ? "the INI file has none" : "none is named";
}

SettingInUse InUse(const Setting& setting) {
    const std::string name = setting.name;
    Parameter parameter = AppConfig::FindParameter(name);
    // the settings that AppConfig is not asked for
    if (setting.places == SettingPlace_Top)
        parameter = {IniFile::GetString("", name, ""), SettingPlace_Top};
    else if (setting.places == SettingPlace_Common)
        parameter = {IniFile::GetString(AppConfig::commonSection, name, ""), SettingPlace_Common};
    else if ((setting.places & SettingPlace_Night) != 0 && (parameter.place & setting.places) == 0)
        parameter = {IniFile::GetString(AppConfig::nightSection, name, ""), SettingPlace_Night};
    if (parameter.value.empty()) parameter = {GetDefault(setting), SettingPlace_None};
    if (&setting == &settings::password && !parameter.value.empty()) parameter.value = "...";
    switch (parameter.place) {
        case SettingPlace_CommandLine: return {&setting, parameter.value, "command line"};
        case SettingPlace_EcrSection:
            return {&setting, parameter.value, "[" + AppConfig::GetEcrSection() + "]"};
        case SettingPlace_Common: return {&setting, parameter.value, "[Common]"};
        case SettingPlace_Night: return {&setting, parameter.value, "[Night]"};
        case SettingPlace_Top: return {&setting, parameter.value, "top of the INI file"};
        default: return {&setting, parameter.value, "default"};
    }
}

void AddObstacle(Setup& setup, ReturnCode status, const std::string& cause) {
    setup.obstacles.push_back({status, Printable(cause)});
}

/** Adds what is thrown by a step that a run takes, too. */
template <class Step>
void Try(Setup& setup, const Step& step) {
    try {
        step();
    } catch (Exception* e) {
        const std::unique_ptr<Exception> failure(e);
        AddObstacle(setup, failure->GetReturnCode(), Trim(failure->GetDisplayMessage(), "\n"));
    }
}

/** What keeps a run from opening the log; status OK for nothing. */
Obstacle FindLogObstacle(const std::string& path) {
    const std::string folder = TrimRight(Path::GetDirectoryName(path), "/");
    struct stat status {};
    if (stat((folder + "/").c_str(), &status) != 0) {
        const std::string parent = Path::GetDirectoryName(folder);
        const bool canBeMade =
            lstat(folder.c_str(), &status) != 0 && MayAccess(parent.empty() ? "." : parent, W_OK | X_OK);
        if (canBeMade) return {ReturnCode_OK, ""};
        return {ReturnCode_SystemError, "the log's folder " + folder + " is not there and cannot be made"};
    }
    if (lstat(path.c_str(), &status) != 0) {
        if (MayAccess(folder + "/", W_OK | X_OK)) return {ReturnCode_OK, ""};
        return {ReturnCode_FileIoError,
                "this user may not write the log's folder " + folder + ", " + DescribeRights(folder)};
    }
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink > 1)
        return {ReturnCode_FileIoError, path + " is no plain file"};
    if (!MayAccess(path, W_OK))
        return {ReturnCode_FileIoError, "this user may not write " + path + ", " + DescribeRights(path)};
    return {ReturnCode_OK, ""};
}

void InspectLogs(Setup& setup) {
    setup.logs = GetLogPaths();
    if (AppConfig::Get(settings::standardLog) == -1)
        AddObstacle(setup, ReturnCode_InternalError, "StandardLog = -1: without a log no run can start");
    for (const std::string& path : setup.logs) {
        if (IsLogLocked(path))
            setup.warnings.push_back(Printable(path) +
                                     " is locked, so that a run waits 0.2 s: " + DescribeHolders(path));
        const Obstacle obstacle = FindLogObstacle(path);
        if (obstacle.status == ReturnCode_OK) continue;
        setup.areLogsWritable = false;
        AddObstacle(setup, obstacle.status, obstacle.cause + "; LogFilePath names another folder");
        return;  // the other one would fail alike
    }
}

/** A run that may not be repeated would not start, another one end with it. */
void InspectResultFile(Setup& setup) {
    const std::string path = GetResultPath();
    if (path.empty()) return;
    const std::string folder = Path::GetDirectoryName(path);
    struct stat file {};
    const bool isTaken = stat(path.c_str(), &file) == 0 && !S_ISREG(file.st_mode);
    if (isTaken)
        AddObstacle(setup, ReturnCode_FileIoError, "ResultFile: " + path + " is no plain file");
    else if (!Directory::Exists(folder.empty() ? "." : folder))
        AddObstacle(setup, ReturnCode_FileIoError, "ResultFile: the folder " + folder + " is not there");
    else if (!MayAccess(folder.empty() ? "." : folder, W_OK | X_OK))
        AddObstacle(
            setup, ReturnCode_FileIoError,
            "ResultFile: this user may not write the folder " + folder + ", " + DescribeRights(folder));
}

void InspectPortOf(Setup& setup) {
    const std::string tty = AppConfig::Get(settings::tty);
    const auto add = [&](ReturnCode status, const std::string& cause) { AddObstacle(setup, status, cause); };
    if (tty.empty() && setup.section.empty() && setup.registers.size() > 1)
        return add(ReturnCode_ConfigError,
                   "no register is named, and the INI file has several: /ECR= names one");
    if (tty.empty()) return add(ReturnCode_ConfigError, "no TTY is set: tavo-line list shows what to write");
    setup.port = InspectPort(tty);
    const PortFacts& port = setup.port;
    const std::string& path = port.path;
    if (!port.exists) {
        add(ReturnCode_SystemError, "there is no " + path + ": tavo-line list shows the ports");
    } else if (!port.isUsable) {
        add(ReturnCode_SystemError,
            "this user may not use " + path + ", " + port.rights + ": " + port.wayToUse);
    } else if (!port.isTerminal) {
        add(ReturnCode_SystemError, path + " is no serial port: tavo-line list shows the ports");
    } else {
        const bool isChecked = AppConfig::Get(settings::skipInstanceChecking) == 0;
        if (isChecked && !port.holders.empty() && port.holders[0].hasLocked)
            add(ReturnCode_EcrPortLocked, path + " is " + DescribeHolders(port));
    }
}

std::string ListOf(const std::vector<std::string>& names) {
    return names.empty() ? "none" : Printable(Join(names.data(), static_cast<int>(names.size()), ", "));
}

std::string DescribePort(const PortFacts& port) {
    if (port.path.empty()) return "none";
    if (!port.exists) return Printable(port.path) + ", not there";
    const std::string holders = DescribeHolders(port);
    std::string text = Printable(port.path) + ", " + port.rights + ", " +
                       (port.isUsable ? "this user may use it" : "this user may not use it") + ", " +
                       (holders.empty() ? "nobody is seen to hold it" : holders) + "\n";
    for (const std::string& name : port.names) text += "  also TTY = " + Printable(name) + "\n";
    return text.substr(0, text.size() - 1);
}

std::string PortToJson(const PortFacts& port) {
    std::vector<std::string> holders;
    for (const PortHolder& holder : port.holders)
        holders.push_back(JsonObject()
                              .Add("process", holder.process)
                              .Add("name", holder.name)
                              .AddFlag("locked", holder.hasLocked)
                              .GetText());
    return JsonObject()
        .Add("path", port.path)
        .AddFlag("exists", port.exists)
        .AddFlag("terminal", port.isTerminal)
        .AddFlag("usable", port.isUsable)
        .Add("rights", port.rights)
        .Add("wayToUse", port.wayToUse)
        .AddJson("names", JsonArrayOfTexts(port.names))
        .AddJson("holders", JsonArray(holders))
        .GetText();
}

}  // namespace

Setup InspectSetup() {
    Setup setup;
    InspectIniFile(setup);
    InspectSection(setup);
    for (const Setting* setting : settings::all) setup.settings.push_back(InUse(*setting));
    InspectLogs(setup);
    InspectResultFile(setup);
    Try(setup, [] { GetProtocolIDBySet(Protocol_Standard); });
    Try(setup, [&setup] {
        if (GetChannelTypeBySettings() == CommChannel_SerialPortWithTC)
            InspectPortOf(setup);
        else
            AddObstacle(setup, ReturnCode_InternalError, "IpAddress: this platform has no network link");
    });
    Try(setup, [] { ComPort().ComPort_Setup(IniFile::GetString("", settings::comSettings.name, "")); });
    for (const std::string& warning : DiagnoseSettings()) setup.warnings.push_back(warning);
    return setup;
}

ReturnCode GetStatus(const Setup& setup) {
    return setup.obstacles.empty() ? ReturnCode_OK : setup.obstacles[0].status;
}

std::string ToText(const Setup& setup) {
    std::string text = "INI file: " + Printable(setup.iniFile) + " (" + setup.whyIniFile + ")\n" +
                       "Registers: " + ListOf(setup.registers) + "\nSection: " +
                       (setup.section.empty() ? "none" : "[" + Printable(setup.section) + "]") + " (" +
                       setup.whySection + ")\nSettings:\n";
    for (const SettingInUse& use : setup.settings)
        text += Format("  %-30s %-20s %s\n", use.setting->name,
                       use.value.empty() ? "-" : Printable(use.value).c_str(), Printable(use.source).c_str());
    text += "Port: " + DescribePort(setup.port) + "\nLogs: " + ListOf(setup.logs) +
            (setup.areLogsWritable ? ", this user may write them\n" : "\n");
    for (const std::string& warning : setup.warnings) text += "warning: " + warning + "\n";
    for (const Obstacle& obstacle : setup.obstacles)
        text += Format("status %d: ", obstacle.status) + obstacle.cause + "\n";
    return text;
}

std::string ToJson(const Setup& setup) {
    std::vector<std::string> inUse;
    for (const SettingInUse& use : setup.settings)
        inUse.push_back(JsonObject()
                            .Add("name", use.setting->name)
                            .Add("value", use.value)
                            .Add("source", use.source)
                            .GetText());
    std::vector<std::string> obstacles;
    for (const Obstacle& obstacle : setup.obstacles)
        obstacles.push_back(
            JsonObject().Add("status", obstacle.status).Add("cause", obstacle.cause).GetText());
    return JsonObject()
        .Add("iniFile", setup.iniFile)
        .Add("whyIniFile", setup.whyIniFile)
        .AddJson("registers", JsonArrayOfTexts(setup.registers))
        .Add("section", setup.section)
        .Add("whySection", setup.whySection)
        .AddJson("settings", JsonArray(inUse))
        .AddJson("port", PortToJson(setup.port))
        .AddJson("logs", JsonArrayOfTexts(setup.logs))
        .AddFlag("areLogsWritable", setup.areLogsWritable)
        .AddJson("warnings", JsonArrayOfTexts(setup.warnings))
        .AddJson("obstacles", JsonArray(obstacles))
        .Add("status", GetStatus(setup))
        .GetText();
}
