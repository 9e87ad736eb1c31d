#pragma once

#include "EcrComm/CommChannels/TcFrameBytes.h"

/**
 * Frames of version 3: STX, sequence number, payload, XOR, sum + payload length, ETX.
 * docs/protocol.md, "Transport-control frames".
 */
class TcFrame : public TcFrameBytes {
public:
    /** Frame length; 0 for an invalid sequence number or a frame that does not fit. */
    static uint16_t Build(const byte* data, uint16_t dataSize, byte seqNo, byte* frame,
                          uint16_t frameBufSize);
    /**
     * Payload length; 0 for a bad frame and for an empty payload. data may be the frame itself. seqNo is set
     * as soon as the frame's ends and length are right, also when the frame is then refused.
     */
    static uint16_t Parse(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data,
                          uint16_t dataBufSize);

private:
    static CRC SumWithLength(const byte* data, uint16_t dataSize, byte seqNo);
};
