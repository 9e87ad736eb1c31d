#include "System/Clock.h"

#include <ctime>

long long GetTimeMs() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC_RAW, &now) != 0) return 0;
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}
