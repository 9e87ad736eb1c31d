#pragma once

#include <string>
#include <vector>

#include "Machine.h"

/** The page of a morning in HTML: what is to be done first, then the nights of all registers; docs/night.md,
 * "The page of a morning". Nothing is loaded and no script runs, whatever a file has brought in. */
std::string MakePage(const std::vector<Machine>& machines);
