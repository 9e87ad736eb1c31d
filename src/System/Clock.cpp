#include "System/Clock.h"

#include <ctime>

long long GetTimeNs() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC_RAW, &now) != 0) return 0;
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

Deadline::Deadline(long long ms) : m_end(GetTimeNs() + ms * 1'000'000) {}

bool Deadline::IsOver() const { return GetTimeNs() >= m_end; }

int Deadline::GetRemainingMs() const {
    const long long remaining = m_end - GetTimeNs();
    return remaining <= 0 ? 0 : static_cast<int>((remaining + 999'999) / 1'000'000);
}
