#include "Outcome/Hints.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig.h"
#include "EcrComm/IoStatistics.h"
#include "Format.h"
#include "IniFile.h"
#include "Logging.h"
#include "Outcome/ExitStatus.h"
#include "Outcome/Failure.h"
#include "Path.h"
#include "Settings.h"
#include "System/FileLock.h"
#include "System/Output.h"
#include "System/PortFacts.h"
#include "Tools.h"

namespace {

/** Shows what makeHint makes, where somebody reads it. */
template <class MakeHint>
void ShowToPerson(const MakeHint& makeHint) {
    if (!IsPersonThere()) return;
    TryQuietly([&] {
        static std::string shown;  // one that was shown at the start is not shown again
        const std::string hint = makeHint();
        if (hint != std::exchange(shown, hint) && !hint.empty()) TellPerson("hint: " + hint + "\n");
    });
}

std::string HintOnSettings() {
    if (std::string hint = GetIniFileHint(); !hint.empty()) return hint;
    for (const auto& [name, value] : AppConfig::GetParameters()) {
        const Setting* const setting = FindSetting(name);
        if (value.empty()) continue;
        if (setting != nullptr && (setting->places & SettingPlace_CommandLine) == 0)
            return "/" + name + " has no effect on the command line; tavo-check --setup tells where it has";
        if (setting != nullptr) continue;
        const std::string nearest = GetNearestSetting(name);
        return "no setting /" + Printable(name) + (nearest.empty() ? "" : "; /" + nearest + "?");
    }
    const std::string section = AppConfig::GetEcrSection();
    bool isThere = section.empty();
    IniFile::VisitLines([&](const IniLine& line) {
        isThere = isThere || (line.isHeading && IniFile::IsSameName(line.section, section));
    });
    return isThere ? "" : "no section [" + Printable(section) + "] in " + Printable(IniFile::GetFile());
}

std::string HintOnConfiguration() {
    if (!AppConfig::Get(settings::tty).empty()) return "tavo-check --setup shows every setting";
    if (std::string hint = GetIniFileHint(); !hint.empty()) return hint;
    const std::string file = Printable(IniFile::GetFile());
    const std::string section = AppConfig::GetEcrSection();
    if (section.empty() && AppConfig::GetEcrNames().size() > 1)
        return "no register is named, and " + file + " has several: /ECR= or, in [Common], DefaultECR";
    return "no TTY in " + file + ", " + (section.empty() ? "" : "[" + Printable(section) + "] or ") +
           "[Common]; tavo-line list shows the ports";
}

/** On a file that another run is writing, a log that could not be opened, or why the system refuses a file.
 */
std::string HintOnFile() {
    const std::string& file = GetLastFailure().path;
    for (const std::string& log : GetLogPaths())
        if (file == log) {
            const std::string place = File::Exists(log) ? log : Path::GetDirectoryName(log);
            return Printable(place) + " is " + DescribeRights(place) + "; LogFilePath names another folder";
        }
    if (const int error = GetLastFailure().error; error != 0) return Printable(file) + ": " + strerror(error);
    struct stat status {};
    if (stat(file.c_str(), &status) == 0)
        for (const std::string& locked : {FileLock::GetPath(file, status), file})
            if (std::string holders = DescribeHolders(locked); !holders.empty()) return holders;
    return FindExitStatus(ReturnCode_FileIoError)->whatToDo;
}

/** The program that finds out more, with the port that the command line named. */
std::string ProbeCommand() {
    const Parameter tty = AppConfig::FindParameter(settings::tty.name);
    return tty.place == SettingPlace_CommandLine ? "tavo-line probe /TTY=" + Printable(tty.value)
                                                 : "tavo-line probe";
}

/** On a port that could not be opened, or has disappeared. */
std::string HintOnPort() {
    constexpr const char* setup = "tavo-check --setup shows what a run would meet";
    const std::string tty = AppConfig::Get(settings::tty);
    if (GetLastFailure().path != "/dev/" + tty) return setup;
    if (tty[0] == '/') return "TTY is a name below /dev, such as ttyUSB0";
    const PortFacts port = InspectPort(tty);
    if (port.exists)
        return port.isUsable ? setup : Printable(port.path) + " is " + port.rights + "; " + port.wayToUse;
    const std::vector<std::string> ports = ListSerialPorts();
    return "no such device; tavo-line list shows " +
           (ports.empty() ? "none" : Printable(Join(ports.data(), static_cast<int>(ports.size()), ", ")));
}

std::string HintOnLine() {
    const int bytes = IoStatistics::BytesReceived;
    if (bytes == 0) return "nothing came: " + ProbeCommand();
    if (IoStatistics::FramesReceived == 0)
        return Format("%d byte%s came, none of them a frame: ", bytes, bytes == 1 ? "" : "s") +
               ProbeCommand();
    return AppConfig::HasParameter(settings::password.name)
               ? ""
               : "no Password is set: does the register ask for one?";
}

/** On a setting that took the place of a file that was forgotten; its value may be a password. */
std::string HintOnForgottenFile(const std::string& filePath) {
    const size_t separator = filePath.find('=');
    if (separator == std::string::npos || filePath[0] != '/') return "";
    const std::string name = filePath.substr(1, separator - 1);
    return FindSetting(name) == nullptr ? "" : "the file is missing: /" + name + " stands in its place";
}

std::string HintOn(ReturnCode status, const std::string& filePath) {
    std::string forgotten = HintOnForgottenFile(filePath);
    if (status != ReturnCode_OK && !forgotten.empty()) return forgotten;
    switch (status) {
        case ReturnCode_CommunicationError: return HintOnLine();
        case ReturnCode_ConfigError: return HintOnConfiguration();
        case ReturnCode_EcrPortLocked: return DescribeHolders(InspectPort(AppConfig::Get(settings::tty)));
        case ReturnCode_SystemError: return HintOnPort();
        case ReturnCode_FileIoError: return HintOnFile();
        default: return FindExitStatus(status)->whatToDo;
    }
}

}  // namespace

std::string GetIniFileHint() {
    const std::string path = IniFile::GetFile();
    if (access(path.c_str(), R_OK) == 0) return "";
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    const bool isNamed =
        AppConfig::FindParameter(settings::configFilePath.name).place == SettingPlace_CommandLine;
    if (isMissing) return isNamed ? "there is no " + Printable(path) : "";
    return "this user may not read " + Printable(path) + ", " + DescribeRights(path, S_IRGRP);
}

std::string GetHint(ReturnCode status, const std::string& filePath) {
    std::string hint;
    TryQuietly([&] { hint = HintOn(status, filePath); });
    return hint;
}

void HintAtSettings() { ShowToPerson(HintOnSettings); }

void HintAtStatus(ReturnCode status, const std::string& filePath) {
    ShowToPerson([&] { return HintOn(status, filePath); });
}
