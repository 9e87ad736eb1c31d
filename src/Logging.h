#pragma once

#include <string>
#include <vector>

/** Which log a message is meant for. */
enum LogType { LogType_Standard = 1, LogType_Debug = 2, LogType_Both = 3 };

/** The paths of the logs that StartLogging opens, as the settings say. */
std::vector<std::string> GetLogPaths();

/** Opens "TAVO.log" and "dbgerror.log" as the settings say; exceptions of LogFile::Open pass on. */
void StartLogging();
bool IsLoggingStarted();

/** Closes both logs and keeps or takes back this run's lines, by the log settings and the outcome. */
void StopLogging(bool completedWithErrors, bool hasIoErrors = false);

/** True when a message of the type would be written; lets a caller spare the work of building one that is
 * not. */
bool IsLogged(LogType type);

/** Writes one line; does nothing before StartLogging and after StopLogging. */
void LogMsg(LogType type, const std::string& message, bool addTime);
