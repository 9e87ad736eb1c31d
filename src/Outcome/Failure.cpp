#include "Outcome/Failure.h"

#include <memory>

#include "Logging.h"
#include "System/Output.h"
#include "Tools.h"

namespace {

Failure lastFailure;

}  // namespace

void LogIfPossible(std::string_view message) {
    // with "StandardLog" = -1 every message is an internal error; the run ends by its exit status
    TryQuietly([&] { LogMsg(LogType_Both, std::string(message), true); });
}

ReturnCode HandleException(Exception* e) {
    const std::unique_ptr<Exception> failure(e);
    LogIfPossible(failure->GetLogMessage());
    lastFailure = {Trim(failure->GetDisplayMessage(), "\n"), failure->GetPath(), failure->GetError()};
    Print(failure->GetDisplayMessage() + "\n");
    return failure->GetReturnCode();
}

const Failure& GetLastFailure() { return lastFailure; }

void PrintNoMemory() { Print("System error: Not enough memory\n"); }
