#pragma once

#include <string>
#include <string_view>

#include "Exceptions.h"

/** Logs with a time stamp if a log takes it; a message that cannot be logged is no reason to fail once more.
 */
void LogIfPossible(std::string_view message);

/** Logs, prints and frees the failure; returns its exit status. */
ReturnCode HandleException(Exception* e);
/** What the last failure was printed as, in one line; empty without one. */
const std::string& GetLastFailure();
