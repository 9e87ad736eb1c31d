#include "System/Clock.h"

#include "Format.h"

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

std::string ToIso(const timespec& time) {
    std::tm local{};
    localtime_r(&time.tv_sec, &local);
    char text[40];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
    constexpr size_t zoneLength = 5;
    return std::string(text, length)
        .insert(length - 2, ":")
        .insert(length - zoneLength, Format(".%03ld", time.tv_nsec / 1'000'000));
}
