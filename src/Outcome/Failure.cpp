#include "Outcome/Failure.h"

#include <memory>
#include <new>

#include "Logging.h"
#include "System/Output.h"
#include "Tools.h"

namespace {

std::string lastFailure;

}  // namespace

void LogIfPossible(std::string_view message) {
    try {
        LogMsg(LogType_Both, std::string(message), true);
    } catch (Exception* e) {
        // only with "StandardLog" = -1, where every message is an internal error; the run ends by its exit
        // status
        delete e;
    } catch (const std::bad_alloc&) {
        // a line of the log is no reason to fail either
    }
}

ReturnCode HandleException(Exception* e) {
    const std::unique_ptr<Exception> failure(e);
    LogIfPossible(failure->GetLogMessage());
    lastFailure = Trim(failure->GetDisplayMessage(), "\n");
    Print(failure->GetDisplayMessage() + "\n");
    return failure->GetReturnCode();
}

const std::string& GetLastFailure() { return lastFailure; }
