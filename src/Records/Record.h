#pragma once

#include <vector>

#include "Byte.h"

/** A record in the ECR's binary form; docs/protocol.md, "Records". */
using Record = std::vector<byte>;
