#pragma once

/** Counters of one run's traffic, in application frames where nothing else is said. */
class IoStatistics {
public:
    static int FramesSend;
    static int FramesReceived;
    static int LostRespCount;
    static int GarbageCount;
    /** Transport frames that either side sent again; a good line has none. */
    static int RepeatedFrames;
    /** Transport frames and acknowledgements that were lost, refused or garbled since a version of frames
     * without numbers is in use: a record may then have come twice, or not at all, unnoticed. */
    static int UnnumberedFaults;
    /** Bytes that came from the line, frames or not. */
    static int BytesReceived;

    static void Reset();
    /** Frames that were lost or not understood. */
    static int GetIoErrorCount();
};
