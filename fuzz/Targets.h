#pragma once

#include <string>

#include "Support.h"

/** Each target takes any input apart, lets the product have it and ends the process when a property of it
 * does not hold. */
void RunTarget(const std::string& name, Bytes input);
size_t GetTargetCount();
