#pragma once

#include <ctime>
#include <string>

/** The raw monotonic clock in nanoseconds; 0 when it cannot be read. */
long long GetTimeNs();

/** Local time, "2026-11-21T18:20:01.250+02:00". */
std::string ToIso(const timespec& time);

/** The end of a wait that begins now, by that clock. */
class Deadline {
public:
    explicit Deadline(long long ms);
    bool IsOver() const;
    /** In ms, rounded up: a wait ends after its time, not before; 0 when it is over. */
    int GetRemainingMs() const;

private:
    long long m_end;  // ns
};
