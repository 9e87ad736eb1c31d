#include <cstdio>
#include <new>
#include <string_view>

#include "Commands.h"
#include "EcrComm/IoStatistics.h"
#include "FileErrors.h"
#include "Format.h"
#include "Ipc.h"
#include "Logging.h"
#include "Options/CommandLine.h"
#include "Outcome/Driver.h"
#include "Outcome/Failure.h"
#include "Outcome/Hints.h"
#include "Outcome/RunResult.h"
#include "System/Interrupt.h"
#include "System/Output.h"

namespace {

ReturnCode Run(int argc, char* argv[], RunOutline& run) {
    try {
        CatchInterrupts();
        const BaseCommandParameters params = CollectParameters(argc, argv);
        SetCommand(run, params);
        HintAtSettings();
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

/** The exit status: where the run was good, that of a result file that cannot be written. */
int WriteResult(int argc, char* argv[], const RunOutline& run, int status) {
    int failure = ReturnCode_SystemError;
    try {
        if (!run.isCommandKnown) LoadSettingsOf(argc, argv);
        WriteRunResult(run, status);
        return status;
    } catch (Exception* e) {
        failure = HandleException(e);
    } catch (const std::bad_alloc&) {
        PrintNoMemory();
    }
    return status == ReturnCode_OK ? failure : status;
}

/** The messages of the end ask for no memory, which may be what is missing. */
int RunToEnd(int argc, char* argv[]) {
    ReturnCode returnCode = ReturnCode_SystemError;
    RunOutline run;
    try {
        run = BeginRun(argc, argv);
        returnCode = Run(argc, argv, run);
    } catch (const std::bad_alloc&) {
        PrintNoMemory();
    }
    Ipc::LeaveSingleProcessBlock();
    const int interrupt = GetInterrupt();
    // what a shell sees of a signal
    const int status = WriteResult(argc, argv, run, interrupt != 0 ? 128 + interrupt : returnCode);
    const std::string_view completed = status == ReturnCode_OK ? "Completed OK" : "Completed with errors";
    LogIfPossible(completed);
    Print(completed);
    char returned[32];
    std::snprintf(returned, sizeof returned, "\nReturn value %i\n", status);
    Print(returned);
    if (interrupt == 0) HintAtStatus(static_cast<ReturnCode>(status), run.params.filePath);
    StopLogging(status != ReturnCode_OK, IoStatistics::GetIoErrorCount() > 0);
    if (interrupt != 0) EndByInterrupt(interrupt);
    return status;
}

}  // namespace

int main(int argc, char* argv[]) {
    OpenStandardDescriptors();
    if (!IsUsageRequested(argc, argv)) return RunToEnd(argc, argv);
    try {
        ShowUsage();
        return ReturnCode_OK;
    } catch (const std::bad_alloc&) {
        PrintNoMemory();
        return ReturnCode_SystemError;
    }
}
