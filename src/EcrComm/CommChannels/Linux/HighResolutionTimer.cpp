#include "EcrComm/CommChannels/Linux/HighResolutionTimer.h"

#include "System/Clock.h"

const HighResolutionTimer highResolutionTimer;

HighResolutionTimer::HighResolutionTimer() : m_isSupported(GetTimeNs() != 0) {}

bool HighResolutionTimer::Supported() const { return m_isSupported; }

long long HighResolutionTimer::GetValue() const { return m_isSupported ? GetTimeNs() : 0; }

double HighResolutionTimer::GetIntervalMs(long long start, long long end) const {
    return m_isSupported ? static_cast<double>(end - start) / 1'000'000 : 0.0;
}
