#include "Hints.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <new>
#include <string>
#include <vector>

#include "AppConfig.h"
#include "Driver.h"
#include "EcrComm/IoStatistics.h"
#include "Format.h"
#include "IniFile.h"
#include "PortFacts.h"
#include "Settings.h"
#include "Tools.h"

namespace {

/** Writes a line to a terminal that takes it now: one that is stopped (Ctrl-S), or that a job in the
 * background may not write to, holds no run up. */
void Show(const std::string& hint) {
    const std::string line = "hint: " + hint + "\n";
    pollfd terminal{STDERR_FILENO, POLLOUT, 0};
    if (hint.empty() || poll(&terminal, 1, 0) != 1 || terminal.revents != POLLOUT) return;
    sigset_t background;
    sigset_t former;
    sigemptyset(&background);
    sigaddset(&background, SIGTTOU);
    sigprocmask(SIG_BLOCK, &background, &former);
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    sigprocmask(SIG_SETMASK, &former, nullptr);
}

/** Shows what hint makes, where somebody reads it. */
template <class Hint>
void ShowToPerson(const Hint& hint) {
    if (isatty(STDERR_FILENO) == 0) return;
    try {
        Show(hint());
    } catch (Exception* e) {
        delete e;
    } catch (const std::bad_alloc&) {
        // not worth a word
    }
}

std::string HintOnNames() {
    for (const auto& [name, value] : AppConfig::GetParameters()) {
        if (value.empty() || FindSetting(name) != nullptr) continue;
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
    if (!AppConfig::GetParameter("TTY", "").empty()) return "tavo-check --setup shows every setting";
    const std::string section = AppConfig::GetEcrSection();
    return "no TTY in " + Printable(IniFile::GetFile()) + ", " +
           (section.empty() ? "" : "[" + Printable(section) + "] or ") +
           "[Common]; tavo-line list shows the ports";
}

/** On a port that could not be opened, or has disappeared. */
std::string HintOnPort() {
    constexpr const char* setup = "tavo-check --setup shows what a run would meet";
    if (GetLastFailure().find("erial port") == std::string::npos) return setup;
    const PortFacts port = InspectPort(AppConfig::GetParameter("TTY", ""));
    if (port.exists)
        return port.isUsable ? setup : Printable(port.path) + " is " + port.rights + "; " + port.wayToUse;
    const std::vector<std::string> ports = ListSerialPorts();
    return "no such device; tavo-line list shows " +
           (ports.empty() ? "none" : Join(ports.data(), static_cast<int>(ports.size()), ", "));
}

std::string HintOnLine() {
    if (IoStatistics::FramesReceived > 0) return "";
    return IoStatistics::BytesReceived == 0
               ? "nothing came: tavo-line probe"
               : Format("%d byte%s came, none of them a frame: tavo-line probe", IoStatistics::BytesReceived,
                        IoStatistics::BytesReceived == 1 ? "" : "s");
}

std::string HintOn(ReturnCode status) {
    switch (status) {
        case ReturnCode_CommunicationError: return HintOnLine();
        case ReturnCode_ConfigError: return HintOnConfiguration();
        case ReturnCode_EcrPortLocked:
            return DescribeHolders(InspectPort(AppConfig::GetParameter("TTY", "")));
        case ReturnCode_SystemError: return HintOnPort();
        default: return "";
    }
}

}  // namespace

void HintAtSettings() { ShowToPerson(HintOnNames); }

void HintAtStatus(ReturnCode status) {
    ShowToPerson([status] { return HintOn(status); });
}
