#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Exceptions.h"
#include "Options/CommandLine.h"

/** Logs with a time stamp if a log takes it; a message that cannot be logged is no reason to fail once more.
 */
void LogIfPossible(std::string_view message);

/** Logs, prints and frees the failure; returns its exit status. */
ReturnCode HandleException(Exception* e);
/** What the last failure was printed as, in one line; empty without one. */
const std::string& GetLastFailure();

/** Attempts that ExecuteCommand has begun. */
int GetAttemptCount();

/**
 * Repeats an attempt on communication errors, up to "RetryCount" times in all, as long as no attempt could do
 * harm (WhyNotToRepeat); the log then has the reason.
 */
ReturnCode Repeat(const std::function<ReturnCode()>& attempt);

/** Repeats connecting, executing and disconnecting. */
ReturnCode ExecuteCommand(const BaseCommandParameters& params);
