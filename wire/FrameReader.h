#pragma once

#include <vector>

#include "Byte.h"

/** Takes the bytes of one direction of the line apart; docs/protocol.md, "Exchange of frames". */
class FrameReader {
public:
    enum class Event { None, Frame, CutShort, Ack, Nak, Noise };

    /** What the byte completes. CutShort: a frame that had begun is dropped, and this byte begins another. */
    Event Receive(byte value);
    /** From STX on; whole after Event::Frame, until the next byte. */
    const std::vector<byte>& GetFrame() const { return m_frame; }
    bool IsInFrame() const { return !m_frame.empty() && !m_isComplete; }
    /** Forgets a frame that has begun. */
    void Drop();

private:
    std::vector<byte> m_frame;
    bool m_isComplete = false;
};
