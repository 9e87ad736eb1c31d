#include "EcrComm/CommChannels/Linux/HighResolutionTimer.h"

#include <ctime>

const HighResolutionTimer highResolutionTimer;

long long GetTimeMs() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC_RAW, &now) != 0) return 0;
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

HighResolutionTimer::HighResolutionTimer() : m_isSupported(GetTimeMs() != 0) {}

bool HighResolutionTimer::Supported() const { return m_isSupported; }

long long HighResolutionTimer::GetValue() const { return m_isSupported ? GetTimeMs() : 0; }

double HighResolutionTimer::GetIntervalMs(long long start, long long end) const {
    return m_isSupported ? static_cast<double>(end - start) / 1'000'000 : 0.0;
}
