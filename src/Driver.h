#pragma once

#include <string>

#include "CommandLine.h"
#include "Exceptions.h"

/** Logs with a time stamp if a log takes it; a message that cannot be logged is no reason to fail once more.
 */
void LogIfPossible(const std::string& message);

/** Logs, prints and frees the failure; returns its exit status. */
ReturnCode HandleException(Exception* e);

/** Connects, executes and disconnects; repeats that on communication errors, up to "RetryCount" times in all.
 */
ReturnCode ExecuteCommand(const BaseCommandParameters& params);
