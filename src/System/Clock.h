#pragma once

/** The raw monotonic clock in nanoseconds (despite the name); 0 when it cannot be read. */
long long GetTimeMs();
