#pragma once

#include <climits>
#include <string>

#include "AppConfig.h"
#include "Defaults.h"
#include "EcrComm/CommChannels/FrameVersion.h"

/** Kind of a setting's value. */
enum SettingKind { SettingKind_Text, SettingKind_Number };

/** One setting, as AppConfig finds it and as the manual pages, the INI file and the completion show it. */
struct Setting {
    const char* name;
    SettingPlace places;  // where it has an effect
    SettingKind kind;
    int defaultNumber;        // of a number
    int least;                // number that is taken as it stands
    int most;                 // likewise
    const char* defaultText;  // of a text, empty for none
    const char* unit;         // empty for none
    const char* meaning;
};

/** Every setting of the program. WithFrameVersions fills in what a meaning leaves to it. Defaults that the
 * program passes when it asks for one stand in Defaults.h.
 */
inline constexpr Setting settings[] = {
    {"ConfigFilePath", SettingPlace_CommandLine, SettingKind_Text, 0, 0, 0, "", "",
     "INI file to use in place of the one found; command line only"},
    {"ECR", SettingPlace_CommandLine, SettingKind_Text, 0, 0, 0, "", "",
     "name of the register, selects the section [ECR_name]; command line only"},
    {"DefaultECR", SettingPlace_Common, SettingKind_Text, 0, 0, 0, "", "",
     "the register when none is named; [Common] only"},
    {"TTY", SettingPlace_Any, SettingKind_Text, 0, 0, 0, "", "", "name of the serial port below /dev/"},
    {"ComSettings", SettingPlace_Top, SettingKind_Text, 0, 0, 0, "", "",
     "line settings, such as baud=9600 parity=n data=8 stop=1; only above the first section heading of the "
     "INI file"},
    {"ComByteTimeMult", SettingPlace_Any, SettingKind_Number, defaultComByteTimeMult, 0, INT_MAX, "", "%",
     "stretches the time that a byte may take"},
    {"Password", SettingPlace_Any, SettingKind_Text, 0, 0, 0, "", "",
     "password of the register; without one none is given"},
    {"RetryCount", SettingPlace_Any, SettingKind_Number, defaultAttemptCount, 1, INT_MAX, "", "attempts",
     "attempts of a command on communication errors; none follows one in which the register may have cleared "
     "a report, or has acknowledged a fiscal command"},
    {"RecordsInPacket", SettingPlace_Any, SettingKind_Number, defaultRecordsInPacket, 1, INT_MAX, "",
     "records",
     "records sent before the register answers; it must be set to the same: with less here each packet waits "
     "for the register's patience, with more it does not answer"},
    {"Delimiter", SettingPlace_Any, SettingKind_Text, 0, 0, 0, defaultCsvDelimiter, "",
     "character between the fields of a CSV line"},
    {"FileType", SettingPlace_Any, SettingKind_Text, 0, 0, 0, "", "",
     "CSV, BMP or RAW, whatever the file's name"},
    {"SortInputFileLines", SettingPlace_Any, SettingKind_Number, defaultSortInputFileLines, 0, 1, "", "",
     "0: send the records in the order of the file"},
    {"IgnoreDuplicates", SettingPlace_Any, SettingKind_Number, defaultIgnoreDuplicates, 0, 1, "", "",
     "1: duplicate lines do not make the status 2"},
    {"Progress", SettingPlace_Any, SettingKind_Number, defaultProgress, 0, 2, "", "",
     "counters that overwrite each other: 0 none, only final lines; 1 always; 2 on a terminal only"},
    {"StandardLog", SettingPlace_Any, SettingKind_Number, defaultStandardLog, 0, INT_MAX, "", "",
     "0: take the run's lines back at its end"},
    {"DbgErrorLog", SettingPlace_Any, SettingKind_Number, defaultDbgErrorLog, -1, INT_MAX, "", "",
     "debug log: -1 none; nothing is written to it in this version"},
    {"LogFilePath", SettingPlace_Any, SettingKind_Text, 0, 0, 0, defaultLogDirectory, "",
     "folder of the logs; the last level of it is created"},
    {"EcrOperationMaxTime", SettingPlace_Any, SettingKind_Number, defaultEcrOperationMaxTime, 0, maxWaitTime,
     "", "ms", "time that the register may take for an answer"},
    {"EcrCommMaxTime", SettingPlace_Any, SettingKind_Number, defaultLocalEcrCommMaxTime, 0, maxWaitTime, "",
     "ms",
     "time that the line may take, added to it (10000 on a network link); together up to 25500, beyond that "
     "they begin again at 0"},
    {"EcrDisconnectTime", SettingPlace_Any, SettingKind_Number, defaultEcrDisconnectTime, 0, INT_MAX, "",
     "10 ms", "pause after disconnecting: 1 to 99; none for 100 and more"},
    {"EcrRecoveryTime", SettingPlace_Any, SettingKind_Number, defaultEcrRecoveryTime, 0, INT_MAX, "", "10 ms",
     "further pause after a communication error: 1 to 99; none for 100 and more"},
    {"ProtocolSet", SettingPlace_Any, SettingKind_Number, defaultProtocolSet, 0, 1, "", "",
     "set of protocol identifiers of the register, 0 or 1"},
    {"SerialProtocolVersion", SettingPlace_Any, SettingKind_Number, defaultSerialProtocolVersion, 1,
     newestFrameVersion, "", "",
     "version of the frames to begin with, @VERSION_RANGE@; others are tried when it is refused"},
    {"SerialProtocolRetryCount", SettingPlace_Any, SettingKind_Number, defaultRetryCount, 1, INT_MAX, "",
     "attempts", "attempts for each frame"},
    {"SerialProtocolResponseMaxTime", SettingPlace_Any, SettingKind_Number, defaultResponseTimeoutMs, 100,
     maxWaitTime, "", "ms", "time that the register may take to acknowledge a frame"},
    {"ComStallMaxTime", SettingPlace_Any, SettingKind_Number, defaultComStallMaxTime, 0, INT_MAX, "", "ms",
     "ends the wait for a line that breaks off in the middle of an answer, or that does not take what is "
     "sent; 0: never ends it. 2000 suits a script"},
    {"LineQuietTime", SettingPlace_Any, SettingKind_Number, defaultLineQuietTime, 0, maxWaitTime, "", "ms",
     "time that the line must be quiet before a run sends its first byte, where anything was written to the "
     "port or a run ended within the last half minute, and, once a frame was lost or repeated, before the "
     "end of the data "
     "is sent and before the port is closed; 0: not waited for. Where ComStallMaxTime is not set, it has "
     "this value"},
    {"EcrPatienceTime", SettingPlace_Any, SettingKind_Number, defaultEcrPatienceTime, 0, INT_MAX, "", "ms",
     "time for which the register keeps a session in which it hears nothing; ExecuteFiscal sends no frame "
     "again beyond it, and makes no further attempt; 0: not known"},
    {"PortWaitTime", SettingPlace_Any, SettingKind_Number, defaultPortWaitTime, 0, INT_MAX, "", "s",
     "time to wait for another run to let the port go, before the status is 16"},
    {"ResultFile", SettingPlace_Any, SettingKind_Text, 0, 0, 0, "", "",
     "file to write the result of the run into, as a JSON object; {ECR} in it is the register's name"},
    {"SkipInstanceChecking", SettingPlace_Any, SettingKind_Number, defaultSkipInstanceChecking, 0, 1, "", "",
     "1: do not look for another run that has the port"},
    {"IpAddress", SettingPlace_Any, SettingKind_Text, 0, 0, 0, "", "",
     "network link; this platform has none, and the run ends with status 99"},
    {"ComNumber", SettingPlace_Any, SettingKind_Text, 0, 0, 0, "", "",
     "not used, but it must not stand beside IpAddress"},
    {"WithTC", SettingPlace_Any, SettingKind_Number, defaultWithTC, 0, 1, "", "",
     "1: transport control on a network link"},
    {"ServerPortFrom", SettingPlace_Any, SettingKind_Number, 0, 0, 65535, "", "port",
     "server mode; this platform has none"},
    {"ServerPortTo", SettingPlace_Any, SettingKind_Number, 0, 0, 65535, "", "port",
     "server mode; this platform has none"},
    {"ConnectionTimeout", SettingPlace_Any, SettingKind_Number, 30, 0, INT_MAX, "", "s",
     "server mode; this platform has none"},
};

/** The setting of just this name; null for any other name. */
const Setting* FindSetting(const std::string& name);
/** The name that a misspelt one stands for most likely; empty when none is near. */
std::string GetNearestSetting(const std::string& name);
/** The default as an INI file holds it; empty for none. */
std::string GetDefault(const Setting& setting);
