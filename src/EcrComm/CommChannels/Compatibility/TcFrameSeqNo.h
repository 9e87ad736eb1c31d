#pragma once

#include "Byte.h"

/** Sequence numbers of frames: 0 before the first frame, then 32..255 in a circle; never a control byte. */
class TcFrameSeqNo {
public:
    static constexpr byte firstRunning = 32;

    static bool IsValid(byte seqNo);
    static byte Next(byte seqNo);
};
