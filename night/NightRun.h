#pragma once

#include <optional>
#include <string>
#include <vector>

#include "NightSettings.h"

/** What tavo-night ends with. */
inline constexpr int statusWell = 0;
inline constexpr int statusPerson = 1;
inline constexpr int statusLater = 75;  // a later run may mend something

/** The file that is there unless the last night was cut off, or could not write down all of it. */
inline constexpr const char* endedFile = "/ended";

/** Serves these registers: goes on with a night that was cut off or may be mended, or begins one. The status
 * to end with; what happened is printed. Nothing where another night is at work, or runs of a killed one have
 * not ended. */
std::optional<int> RunNight(const NightSettings& settings,
                            const std::vector<const RegisterSettings*>& served);
