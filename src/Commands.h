#pragma once

#include <functional>
#include <string>

#include "Exceptions.h"
#include "Options/Command.h"

/**
 * The commands over an open link. They print their progress, count problems of single records in FileErrors
 * and return the exit status that these stand for; failures that end a command are exceptions.
 */

/** What the last attempt of a command has done so far. */
struct CommandCounts {
    unsigned read = 0;  // records
    unsigned sent = 0;
    unsigned deleted = 0;
    unsigned commandsAcknowledged = 0;
};

const CommandCounts& GetCommandCounts();

/** How far the clearing of a section or report has come, over all attempts of the run. */
enum ClearState { ClearState_No, ClearState_Requested, ClearState_Done };
ClearState GetClearState();
/** Has the action called when the ECR is about to be asked to clear, which does not happen if it throws, and
 * when it has cleared. */
void OnClearing(std::function<void()> action);

/** A run of one command, in one attempt or more; what they share goes with it. */
class CommandRun {
public:
    CommandRun();
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;
    ~CommandRun();
};

/**
 * Why a further attempt could lose or double something, as the log tells it; empty as long as it could not.
 * The ECR may then have cleared the only other copy of a report, or executed a fiscal command.
 */
std::string WhyNotToRepeat();

/** Read, Send, Delete, Clear, ReadAndClear, ClearAndSend and Init of section or report dataType. */
ReturnCode Execute_Standard(Command command, int dataType, const std::string& filename);

/** ExecuteFiscal, ReadFiscalStatus and ReadEftStatus. */
ReturnCode Execute_Fiscal(Command command, const std::string& filename);

/** Server commands by number; 1 disconnects from the server. */
ReturnCode Execute_Server(int data);

/** Server mode, which this platform does not have; its settings are accepted and nothing listens. */
ReturnCode RunServer();
