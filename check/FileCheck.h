#pragma once

#include "CheckOptions.h"
#include "Exceptions.h"

/**
 * Goes through a file as tavo would, and prints what tavo would say and what is wrong with each line; a
 * corrected copy is made first where one is asked for, and what is told is of the copy. Returns the status
 * that the run would end with, as far as it does not depend on the register; FileIoException where a file
 * cannot be read or written, or there is nothing to correct.
 */
ReturnCode CheckFile(const CheckOptions& options);
