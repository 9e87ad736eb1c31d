#pragma once

#include <functional>

#include "Exceptions.h"
#include "Options/CommandLine.h"

/** Attempts that ExecuteCommand has begun. */
int GetAttemptCount();

/**
 * Repeats an attempt on communication errors, up to "RetryCount" times in all, as long as no attempt could do
 * harm (WhyNotToRepeat); the log then has the reason.
 */
ReturnCode Repeat(const std::function<ReturnCode()>& attempt);

/** Repeats connecting, executing and disconnecting. */
ReturnCode ExecuteCommand(const BaseCommandParameters& params);
