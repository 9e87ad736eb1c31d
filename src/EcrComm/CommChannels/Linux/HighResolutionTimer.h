#pragma once

/** Measures how long a block took on the line. */
class HighResolutionTimer {
public:
    HighResolutionTimer();
    bool Supported() const;
    /** A time stamp, 0 without a clock. */
    long long GetValue() const;
    /** Milliseconds between two time stamps, 0.0 without a clock. */
    double GetIntervalMs(long long start, long long end) const;

private:
    bool m_isSupported;
};

/** The one instance that the channels share. */
extern const HighResolutionTimer highResolutionTimer;
