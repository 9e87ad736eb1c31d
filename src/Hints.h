#pragma once

#include "Exceptions.h"

/**
 * A line for a person about what a message of the run cannot say: on standard error, and only where that is a
 * terminal. Nothing that fails here is a failure of the run.
 */

/** On a command line with names that are no settings, or a register that has no section. */
void HintAtSettings();

/** On a run that has ended with this status. */
void HintAtStatus(ReturnCode status);
