#include "Outcome/Driver.h"

#include <memory>
#include <new>

#include "AppConfig.h"
#include "Commands.h"
#include "EcrComm/EcrComm.h"
#include "Outcome/Failure.h"
#include "System/Interrupt.h"

namespace {

int attemptCount = 0;

ReturnCode ExecuteOnOpenLink(const BaseCommandParameters& params) {
    if (params.isFiscalCommand) return Execute_Fiscal(params.command, params.filePath);
    if (params.command == Command_ExecuteServer) return Execute_Server(params.data);
    return Execute_Standard(params.command, params.data, params.filePath);
}

ReturnCode Attempt(const BaseCommandParameters& params, ProtocolID protocol) {
    try {
        ConnectToEcr(protocol);
        const ReturnCode result = ExecuteOnOpenLink(params);
        DisconnectFromEcr();
        return result;
    } catch (Exception* e) {
        std::unique_ptr<Exception> failure(e);
        DisconnectFromEcr(e);
        return HandleException(failure.release());
    } catch (const std::bad_alloc&) {
        DisconnectFromEcr();  // first of all: an exception wants memory, too
        return HandleException(new SystemException(notEnoughMemory));
    }
}

}  // namespace

int GetAttemptCount() { return attemptCount; }

ReturnCode Repeat(const std::function<ReturnCode()>& attempt) {
    const int retryCount = AppConfig::Get(settings::retryCount);
    const CommandRun run;
    for (int errorCount = 0;;) {
        CheckInterrupt();  // a signal in the pause after a failed attempt is no reason for the next one
        attemptCount++;
        const ReturnCode result = attempt();
        if (result != ReturnCode_CommunicationError || ++errorCount >= retryCount) return result;
        const std::string reason = WhyNotToRepeat();
        if (reason.empty()) continue;
        LogIfPossible(reason);
        return result;
    }
}

ReturnCode ExecuteCommand(const BaseCommandParameters& params) {
    const ProtocolID protocol =
        GetProtocolIDBySet(params.isFiscalCommand ? Protocol_Fiscal : Protocol_Standard);
    return Repeat([&] { return Attempt(params, protocol); });
}
