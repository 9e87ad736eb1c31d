#pragma once

/** Counters of one run's traffic, in application frames. */
class IoStatistics {
public:
    static int FramesSend;
    static int FramesReceived;
    static int LostRespCount;
    static int GarbageCount;

    static void Reset();
    /** Frames that were lost or not understood. */
    static int GetIoErrorCount();
};
