#pragma once

#include "EcrComm/CommChannels/TcFrameBytes.h"

using CRC_v2 = CRC;

/** Frames of version 2: as version 3, but the sum leaves the payload length out. */
class TcFrame_v2 : public TcFrameBytes {
public:
    static uint16_t Build(const byte* data, uint16_t dataSize, byte seqNo, byte* frame,
                          uint16_t frameBufSize);
    static uint16_t Parse(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data,
                          uint16_t dataBufSize);
};
