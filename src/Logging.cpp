#include "Logging.h"

#include "AppConfig.h"
#include "LogFile.h"
#include "Path.h"
#include "Tools.h"

namespace {

constexpr const char* stdLogFileName = "TAVO.log";
constexpr const char* dbgLogFileName = "dbgerror.log";

LogFile stdLog;
LogFile dbgLog;
int stdLogLevel = settings::standardLog.range.byDefault;
int dbgLogLevel = settings::dbgErrorLog.range.byDefault;
bool isLoggingStarted = false;

bool KeepsDebugLog(bool completedWithErrors, bool hasIoErrors) {
    switch (dbgLogLevel) {
        case 0: return false;
        case 1: return completedWithErrors;
        case 2: return completedWithErrors || hasIoErrors;
        default: return true;
    }
}

/** The path of a log; empty for the level -1, which has none. */
std::string GetLogPath(const char* fileName, int level) {
    const std::string directory = AppConfig::GetParameter(settings::logFilePath.name, GetLogDirectory());
    return level == -1 ? "" : Path::Combine(directory, fileName);
}

}  // namespace

std::vector<std::string> GetLogPaths() {
    std::vector<std::string> paths;
    for (const std::string& path : {GetLogPath(stdLogFileName, AppConfig::Get(settings::standardLog)),
                                    GetLogPath(dbgLogFileName, AppConfig::Get(settings::dbgErrorLog))})
        if (!path.empty()) paths.push_back(path);
    return paths;
}

void StartLogging() {
    dbgLogLevel = AppConfig::Get(settings::dbgErrorLog);
    stdLogLevel = AppConfig::Get(settings::standardLog);
    if (stdLogLevel != -1) stdLog.Open(GetLogPath(stdLogFileName, stdLogLevel));
    if (dbgLogLevel != -1) dbgLog.Open(GetLogPath(dbgLogFileName, dbgLogLevel));
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
