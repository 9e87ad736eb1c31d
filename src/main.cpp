#include "CommandLine.h"
#include "Commands.h"
#include "Driver.h"
#include "EcrComm/IoStatistics.h"
#include "FileErrors.h"
#include "Format.h"
#include "Ipc.h"
#include "Logging.h"

namespace {

ReturnCode Run(int argc, char* argv[]) {
    try {
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

}  // namespace

int main(int argc, char* argv[]) {
    if (IsUsageRequested(argc, argv)) {
        ShowUsage();
        return ReturnCode_OK;
    }
    const ReturnCode status = Run(argc, argv);
    Ipc::LeaveSingleProcessBlock();
    const std::string completed = Format("Completed %s", status == ReturnCode_OK ? "OK" : "with errors");
    LogIfPossible(completed);
    Print(completed + "\n");
    Print(Format("Return value %i\n", status));
    StopLogging(status != ReturnCode_OK);
    return status;
}
