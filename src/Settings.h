#pragma once

#include <climits>
#include <string>

#include "Defaults.h"

/** Places where a setting can stand; a bit each. */
enum SettingPlace : unsigned {
    SettingPlace_None = 0,
    SettingPlace_CommandLine = 1,
    SettingPlace_EcrSection = 2,  // of the INI file
    SettingPlace_Common = 4,      // its section [Common]
    SettingPlace_Top = 8,         // above its first section heading
    SettingPlace_Night = 16,      // its section [Night], of tavo-night
    SettingPlace_Any = SettingPlace_CommandLine | SettingPlace_EcrSection | SettingPlace_Common,
    SettingPlace_WholeNight = SettingPlace_CommandLine | SettingPlace_Night,
    SettingPlace_NightOrEcr = SettingPlace_WholeNight | SettingPlace_EcrSection
};

/** The numbers that work as they are written, and the one that holds where none is set. AppConfig does not
 * check them; tavo-check warns of others. */
struct NumberRange {
    int least;
    int byDefault;
    int most;
};

/** One setting, as the manual pages, the INI file and the completion show it. */
struct Setting {
    const char* name;
    SettingPlace places;  // where it has an effect
    const char* unit;     // empty for none
    const char* meaning;
    bool isNumber;
    NumberRange range;      // of a number
    const char* byDefault;  // of a text; empty for none
};

struct NumberSetting : Setting {
    constexpr NumberSetting(const char* n, SettingPlace p, NumberRange numbers, const char* u, const char* m)
        : Setting{n, p, u, m, true, numbers, ""} {}
};

struct TextSetting : Setting {
    constexpr TextSetting(const char* n, SettingPlace p, const char* text, const char* m)
        : Setting{n, p, "", m, false, {}, text} {}
};

/** Every setting of the program; AppConfig::Get asks for one by its row. WithFrameVersions fills in what a
 * meaning leaves to it. tests/rooms fails for a row that nothing asks for, unless its platform is another
 * one.
 */
namespace settings {

inline constexpr TextSetting configFilePath("ConfigFilePath", SettingPlace_CommandLine, "",
                                            "INI file to use in place of the one found; command line only");
inline constexpr TextSetting ecr("ECR", SettingPlace_CommandLine, "",
                                 "name of the register, selects the section [ECR_name]; command line only");
inline constexpr TextSetting defaultEcr("DefaultECR", SettingPlace_Common, "",
                                        "the register when none is named; [Common] only");
inline constexpr TextSetting tty("TTY", SettingPlace_Any, "", "name of the serial port below /dev/");
inline constexpr TextSetting comSettings("ComSettings", SettingPlace_Top, "",
                                         "line settings, such as baud=9600 parity=n data=8 stop=1; only "
                                         "above the first section heading of the INI file");
inline constexpr NumberSetting comByteTimeMult(
    "ComByteTimeMult", SettingPlace_Any, {0, defaultComByteTimeMult, INT_MAX}, "",
    "without effect: behind its first byte an answer is waited for as ComStallMaxTime says");
inline constexpr TextSetting password("Password", SettingPlace_Any, "",
                                      "password of the register; without one none is given");
inline constexpr NumberSetting retryCount(
    "RetryCount", SettingPlace_Any, {1, 1, INT_MAX}, "attempts",
    "attempts of a command on communication errors; none follows one in which the register may have cleared "
    "a report, or has acknowledged a fiscal command");
inline constexpr NumberSetting recordsInPacket(
    "RecordsInPacket", SettingPlace_Any, {1, 1, INT_MAX}, "records",
    "records sent before the register answers; it must be set to the same: with less here each packet waits "
    "for the register's patience, with more it does not answer");
inline constexpr TextSetting delimiter("Delimiter", SettingPlace_Any, defaultCsvDelimiter,
                                       "character between the fields of a CSV line");
inline constexpr TextSetting fileType("FileType", SettingPlace_Any, "",
                                      "CSV, BMP or RAW, whatever the file's name");
inline constexpr NumberSetting sortInputFileLines("SortInputFileLines", SettingPlace_Any, {0, 1, 1}, "",
                                                  "0: send the records in the order of the file");
inline constexpr NumberSetting ignoreDuplicates("IgnoreDuplicates", SettingPlace_Any, {0, 0, 1}, "",
                                                "1: duplicate lines do not make the status 2");
inline constexpr NumberSetting progress(
    "Progress", SettingPlace_Any, {0, 1, 2}, "",
    "counters that overwrite each other: 0 none, only final lines; 1 always; 2 on a terminal only");
inline constexpr NumberSetting standardLog("StandardLog", SettingPlace_Any, {0, 1, INT_MAX}, "",
                                           "0: take the run's lines back at its end");
inline constexpr NumberSetting dbgErrorLog("DbgErrorLog", SettingPlace_Any, {-1, 0, INT_MAX}, "",
                                           "debug log: -1 none; nothing is written to it in this version");
inline constexpr TextSetting logFilePath("LogFilePath", SettingPlace_Any, defaultLogDirectory,
                                         "folder of the logs; the last level of it is created");
inline constexpr NumberSetting ecrOperationMaxTime("EcrOperationMaxTime", SettingPlace_Any,
                                                   {0, defaultEcrOperationMaxTime, maxWaitTime}, "ms",
                                                   "time that the register may take for an answer");
inline constexpr NumberSetting ecrCommMaxTime("EcrCommMaxTime", SettingPlace_Any,
                                              {0, defaultLocalEcrCommMaxTime, maxWaitTime}, "ms",
                                              "time that the line may take, added to EcrOperationMaxTime "
                                              "(10000 on a network link); together up to 25500, beyond that "
                                              "they begin again at 0");
inline constexpr NumberSetting ecrDisconnectTime(defaultEcrDisconnectTimeName, SettingPlace_Any,
                                                 {0, defaultEcrDisconnectTime, INT_MAX}, "10 ms",
                                                 "pause after disconnecting: 1 to 99; none for 100 and more");
inline constexpr NumberSetting ecrRecoveryTime(
    defaultEcrRecoveryTimeName, SettingPlace_Any, {0, defaultEcrRecoveryTime, INT_MAX}, "10 ms",
    "further pause after a communication error: 1 to 99; none for 100 and more");
inline constexpr NumberSetting protocolSet("ProtocolSet", SettingPlace_Any, {0, 1, 1}, "",
                                           "set of protocol identifiers of the register, 0 or 1");
inline constexpr NumberSetting serialProtocolVersion(
    "SerialProtocolVersion", SettingPlace_Any, {1, 3, 3}, "",
    "version of the frames to begin with, @VERSION_RANGE@; others are tried when it is refused");
inline constexpr NumberSetting serialProtocolRetryCount("SerialProtocolRetryCount", SettingPlace_Any,
                                                        {1, defaultRetryCount, INT_MAX}, "attempts",
                                                        "attempts for each frame");
inline constexpr NumberSetting serialProtocolResponseMaxTime(
    "SerialProtocolResponseMaxTime", SettingPlace_Any, {100, defaultResponseTimeoutMs, maxWaitTime}, "ms",
    "time that the register may take to acknowledge a frame");
inline constexpr NumberSetting comStallMaxTime(
    "ComStallMaxTime", SettingPlace_Any, {0, 0, INT_MAX}, "ms",
    "ends the wait for a line that breaks off in the middle of an answer, or that does not take what is "
    "sent; 0: never ends it. 2000 suits a script");
inline constexpr NumberSetting lineQuietTime(
    "LineQuietTime", SettingPlace_Any, {0, 0, maxWaitTime}, "ms",
    "time that the line must be quiet before a run sends its first byte, where anything was written to the "
    "port or a run ended within the last half minute (or EcrPatienceTime, if that is longer), and, once a "
    "frame was lost or repeated, before the end of the data is sent and before the port is closed; 0: not "
    "waited for. Where ComStallMaxTime is not set, it has this value");
inline constexpr NumberSetting ecrPatienceTime(
    "EcrPatienceTime", SettingPlace_Any, {0, 0, INT_MAX}, "ms",
    "time for which the register keeps a session in which it hears nothing; ExecuteFiscal sends no frame "
    "again beyond it, and makes no further attempt; 0: not known");
inline constexpr NumberSetting portWaitTime(
    "PortWaitTime", SettingPlace_Any, {0, 0, INT_MAX}, "s",
    "time to wait for another run to let the port go, before the status is 16");
inline constexpr TextSetting resultFile(
    "ResultFile", SettingPlace_Any, "",
    "file to write the result of the run into, as a JSON object; {ECR} in it is the register's name");
inline constexpr NumberSetting skipInstanceChecking(
    "SkipInstanceChecking", SettingPlace_Any, {0, 0, 1}, "",
    "1: neither look for another run that has the port nor lock it against one");
inline constexpr TextSetting ipAddress(
    "IpAddress", SettingPlace_Any, "",
    "network link; this platform has none, and the run ends with status 99");
inline constexpr TextSetting comNumber("ComNumber", SettingPlace_Any, "",
                                       "not used, but it must not stand beside IpAddress");
inline constexpr NumberSetting withTC("WithTC", SettingPlace_Any, {0, 0, 1}, "",
                                      "1: transport control on a network link");
inline constexpr NumberSetting serverPortFrom("ServerPortFrom", SettingPlace_Any, {0, 0, 65535}, "port",
                                              "server mode; this platform has none");
inline constexpr NumberSetting serverPortTo("ServerPortTo", SettingPlace_Any, {0, 0, 65535}, "port",
                                            "server mode; this platform has none");
inline constexpr NumberSetting connectionTimeout("ConnectionTimeout", SettingPlace_Any, {0, 30, INT_MAX}, "s",
                                                 "server mode; this platform has none");
inline constexpr TextSetting folder("Folder", SettingPlace_WholeNight, "/var/lib/tavo",
                                    "tavo-night: folder of reports, results and ledger");
inline constexpr TextSetting prices("Prices", SettingPlace_NightOrEcr, "prices.csv",
                                    "tavo-night: file of prices to send, in Folder unless it has a path; "
                                    "without that file none are sent");
inline constexpr NumberSetting section("Section", SettingPlace_NightOrEcr, {0, 3, 255}, "",
                                       "tavo-night: section of the register that holds the prices");
inline constexpr TextSetting report("Report", SettingPlace_NightOrEcr, "70",
                                    "tavo-night: report to read and clear, or several as 70,71");
inline constexpr NumberSetting tries("Tries", SettingPlace_WholeNight, {1, 3, INT_MAX}, "attempts",
                                     "tavo-night: runs for each job of a register, as long as another one "
                                     "may help");
inline constexpr NumberSetting pause("Pause", SettingPlace_WholeNight, {0, 60, INT_MAX}, "s",
                                     "tavo-night: time between two of them");
inline constexpr NumberSetting jobs("Jobs", SettingPlace_WholeNight, {1, 64, 4096}, "",
                                    "tavo-night: runs at the same time, at most");
inline constexpr NumberSetting maxAge("MaxAge", SettingPlace_WholeNight, {1, 30, INT_MAX}, "h",
                                      "tavo-night: a register is missing when a job of its was not good for "
                                      "so long");
inline constexpr NumberSetting keep("Keep", SettingPlace_WholeNight, {1, 60, INT_MAX}, "nights",
                                    "tavo-night: how long prune keeps the files of a report that was booked");
inline constexpr TextSetting onTrouble("OnTrouble", SettingPlace_WholeNight, "",
                                       "tavo-night: command for the shell, run when a night is not well, and "
                                       "when all is well again");

/** In the order in which they are shown. */
inline constexpr const Setting* all[] = {&configFilePath,
                                         &ecr,
                                         &defaultEcr,
                                         &tty,
                                         &comSettings,
                                         &comByteTimeMult,
                                         &password,
                                         &retryCount,
                                         &recordsInPacket,
                                         &delimiter,
                                         &fileType,
                                         &sortInputFileLines,
                                         &ignoreDuplicates,
                                         &progress,
                                         &standardLog,
                                         &dbgErrorLog,
                                         &logFilePath,
                                         &ecrOperationMaxTime,
                                         &ecrCommMaxTime,
                                         &ecrDisconnectTime,
                                         &ecrRecoveryTime,
                                         &protocolSet,
                                         &serialProtocolVersion,
                                         &serialProtocolRetryCount,
                                         &serialProtocolResponseMaxTime,
                                         &comStallMaxTime,
                                         &lineQuietTime,
                                         &ecrPatienceTime,
                                         &portWaitTime,
                                         &resultFile,
                                         &skipInstanceChecking,
                                         &ipAddress,
                                         &comNumber,
                                         &withTC,
                                         &serverPortFrom,
                                         &serverPortTo,
                                         &connectionTimeout,
                                         &folder,
                                         &prices,
                                         &section,
                                         &report,
                                         &tries,
                                         &pause,
                                         &jobs,
                                         &maxAge,
                                         &keep,
                                         &onTrouble};

constexpr bool AreDefaultsInRange() {
    for (const Setting* setting : all)
        if (setting->range.byDefault < setting->range.least || setting->range.byDefault > setting->range.most)
            return false;
    return true;
}
static_assert(AreDefaultsInRange());

}  // namespace settings

/** The setting of just this name; null for any other name. */
const Setting* FindSetting(const std::string& name);
/** The name that a misspelt one stands for most likely; empty when none is near. */
std::string GetNearestSetting(const std::string& name);
/** The default as an INI file holds it; empty for none. */
std::string GetDefault(const Setting& setting);
