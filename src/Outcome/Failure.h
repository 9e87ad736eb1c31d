#pragma once

#include <string>
#include <string_view>

#include "Exceptions.h"

/** Logs with a time stamp if a log takes it; a message that cannot be logged is no reason to fail once more.
 */
void LogIfPossible(std::string_view message);

/** Logs, prints and frees the failure; returns its exit status. */
ReturnCode HandleException(Exception* e);

struct Failure {
    std::string text;  // as it was printed, in one line
    std::string path;  // of the file or device concerned; empty for none
    int error = 0;     // why a call for it has failed, an errno; 0 where none has
};

/** The last one; empty without one. */
const Failure& GetLastFailure();

/** The message of a run that has no memory left; it takes none. */
void PrintNoMemory();
