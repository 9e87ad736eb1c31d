#pragma once

#include "EcrComm/CommChannels/TcFrameBytes.h"

using CRC_v1 = CRC;

/** Frames of version 1: no sequence number; payload, XOR and sum byte add up to 0 modulo 256. */
class TcFrame_v1 : public TcFrameBytes {
public:
    static uint16_t Build(const byte* data, uint16_t dataSize, byte* frame, uint16_t frameBufSize);
    static uint16_t Parse(const byte* frame, uint16_t frameSize, byte* data, uint16_t dataBufSize);
};
