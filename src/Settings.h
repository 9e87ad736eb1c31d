#pragma once

#include "Defaults.h"

/** Kind of a setting's value. */
enum SettingKind { SettingKind_Text, SettingKind_Number };

/** One setting, as AppConfig finds it and as the manual pages, the INI file and the completion show it. */
struct Setting {
    const char* name;
    SettingKind kind;
    int defaultNumber;        // of a number
    const char* defaultText;  // of a text, empty for none
    const char* unit;         // empty for none
    const char* meaning;
};

/** Every setting of the program. WithFrameVersions fills in what a meaning leaves to it. Defaults that the
 * program passes when it asks for one stand in Defaults.h.
 */
inline constexpr Setting settings[] = {
    {"ConfigFilePath", SettingKind_Text, 0, "", "",
     "INI file to use in place of the one found; command line only"},
    {"ECR", SettingKind_Text, 0, "", "",
     "name of the register, selects the section [ECR_name]; command line only"},
    {"DefaultECR", SettingKind_Text, 0, "", "", "the register when none is named; [Common] only"},
    {"TTY", SettingKind_Text, 0, "", "", "name of the serial port below /dev/"},
    {"ComSettings", SettingKind_Text, 0, "", "",
     "line settings, such as baud=9600 parity=n data=8 stop=1; only above the first section heading of the "
     "INI file"},
    {"ComByteTimeMult", SettingKind_Number, defaultComByteTimeMult, "", "%",
     "stretches the time that a byte may take"},
    {"Password", SettingKind_Text, 0, "", "", "password of the register; without one none is given"},
    {"RetryCount", SettingKind_Number, defaultAttemptCount, "", "attempts",
     "attempts of a command on communication errors; none follows one in which the register may have cleared "
     "a report, or has acknowledged a fiscal command"},
    {"RecordsInPacket", SettingKind_Number, defaultRecordsInPacket, "", "records",
     "records sent before the register answers; it must be set to the same: with less here each packet waits "
     "for the register's patience, with more it does not answer"},
    {"Delimiter", SettingKind_Text, 0, defaultCsvDelimiter, "", "character between the fields of a CSV line"},
    {"FileType", SettingKind_Text, 0, "", "", "CSV, BMP or RAW, whatever the file's name"},
    {"SortInputFileLines", SettingKind_Number, defaultSortInputFileLines, "", "",
     "0: send the records in the order of the file"},
    {"IgnoreDuplicates", SettingKind_Number, defaultIgnoreDuplicates, "", "",
     "1: duplicate lines do not make the status 2"},
    {"StandardLog", SettingKind_Number, defaultStandardLog, "", "",
     "0: take the run's lines back at its end"},
    {"DbgErrorLog", SettingKind_Number, defaultDbgErrorLog, "", "",
     "debug log: -1 none; nothing is written to it in this version"},
    {"LogFilePath", SettingKind_Text, 0, defaultLogDirectory, "",
     "folder of the logs; the last level of it is created"},
    {"EcrOperationMaxTime", SettingKind_Number, defaultEcrOperationMaxTime, "", "ms",
     "time that the register may take for an answer"},
    {"EcrCommMaxTime", SettingKind_Number, defaultLocalEcrCommMaxTime, "", "ms",
     "time that the line may take, added to it (10000 on a network link); together up to 25500, beyond that "
     "they begin again at 0"},
    {"EcrDisconnectTime", SettingKind_Number, defaultEcrDisconnectTime, "", "10 ms",
     "pause after disconnecting: 1 to 99; none for 100 and more"},
    {"EcrRecoveryTime", SettingKind_Number, defaultEcrRecoveryTime, "", "10 ms",
     "further pause after a communication error: 1 to 99; none for 100 and more"},
    {"ProtocolSet", SettingKind_Number, defaultProtocolSet, "", "",
     "set of protocol identifiers of the register, 0 or 1"},
    {"SerialProtocolVersion", SettingKind_Number, defaultSerialProtocolVersion, "", "",
     "version of the frames to begin with, @VERSION_RANGE@; others are tried when it is refused"},
    {"SerialProtocolRetryCount", SettingKind_Number, defaultRetryCount, "", "attempts",
     "attempts for each frame"},
    {"SerialProtocolResponseMaxTime", SettingKind_Number, defaultResponseTimeoutMs, "", "ms",
     "time that the register may take to acknowledge a frame"},
    {"ComStallMaxTime", SettingKind_Number, defaultComStallMaxTime, "", "ms",
     "ends the wait for a line that breaks off in the middle of an answer, or that does not take what is "
     "sent; 0: never ends it. 2000 suits a script"},
    {"PortWaitTime", SettingKind_Number, defaultPortWaitTime, "", "s",
     "time to wait for another run to let the port go, before the status is 16"},
    {"SkipInstanceChecking", SettingKind_Number, defaultSkipInstanceChecking, "", "",
     "1: do not look for another run that has the port"},
    {"IpAddress", SettingKind_Text, 0, "", "",
     "network link; this platform has none, and the run ends with status 99"},
    {"ComNumber", SettingKind_Text, 0, "", "", "not used, but it must not stand beside IpAddress"},
    {"WithTC", SettingKind_Number, defaultWithTC, "", "", "1: transport control on a network link"},
    {"ServerPortFrom", SettingKind_Number, 0, "", "port", "server mode; this platform has none"},
    {"ServerPortTo", SettingKind_Number, 0, "", "port", "server mode; this platform has none"},
    {"ConnectionTimeout", SettingKind_Number, 30, "", "s", "server mode; this platform has none"},
};
