#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <new>

#include "CommandLine.h"
#include "Commands.h"
#include "Driver.h"
#include "EcrComm/IoStatistics.h"
#include "FileErrors.h"
#include "Format.h"
#include "Interrupt.h"
#include "Ipc.h"
#include "Logging.h"

namespace {

/** Fills the standard descriptors that the caller has closed, or the log or the port would take their place.
 */
void OpenStandardDescriptors() {
    int descriptor;
    do descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

ReturnCode Run(int argc, char* argv[]) {
    try {
        CatchInterrupts();
        const BaseCommandParameters params = CollectParameters(argc, argv);
        IoStatistics::Reset();
        FileErrors::Reset();
        StartLogging();
        LogMsg(LogType_Both, "\n", false);
        LogMsg(LogType_Both, GetStartMessage(argc, argv), true);
        CheckOtherTAVOInstances();
        return params.command == Command_RunServer ? RunServer() : ExecuteCommand(params);
    } catch (Exception* e) {
        return HandleException(e);
    }
}

int RunToEnd(int argc, char* argv[]) {
    const ReturnCode returnCode = Run(argc, argv);
    Ipc::LeaveSingleProcessBlock();
    const int interrupt = GetInterrupt();
    const int status = interrupt != 0 ? 128 + interrupt : returnCode;  // what a shell sees of a signal
    const std::string completed = Format("Completed %s", status == ReturnCode_OK ? "OK" : "with errors");
    LogIfPossible(completed);
    Print(completed + "\n");
    Print(Format("Return value %i\n", status));
    StopLogging(status != ReturnCode_OK);
    if (interrupt != 0) EndByInterrupt(interrupt);
    return status;
}

}  // namespace

int main(int argc, char* argv[]) {
    OpenStandardDescriptors();
    try {
        if (!IsUsageRequested(argc, argv)) return RunToEnd(argc, argv);
        ShowUsage();
        return ReturnCode_OK;
    } catch (const std::bad_alloc&) {
        std::fputs("System error: Not enough memory\n", stdout);
        return ReturnCode_SystemError;
    }
}
