#pragma once

#include "EcrComm/CommChannels/Compatibility/TcFrame_v1.h"
#include "EcrComm/CommChannels/Compatibility/TcFrame_v2.h"
#include "EcrComm/CommChannels/TcFrame.h"
#include "Fuzz.h"

/** The frame of one version, built in a buffer of the given size; nothing when it is refused. */
inline Bytes BuildFrame(int version, const Bytes& payload, byte seqNo, size_t bufferSize) {
    Bytes frame(bufferSize);
    const auto size = static_cast<uint16_t>(payload.size());
    const auto room = static_cast<uint16_t>(bufferSize);
    uint16_t length = 0;
    switch (version) {
        case 1: length = TcFrame_v1::Build(payload.data(), size, frame.data(), room); break;
        case 2: length = TcFrame_v2::Build(payload.data(), size, seqNo, frame.data(), room); break;
        default: length = TcFrame::Build(payload.data(), size, seqNo, frame.data(), room);
    }
    Require(length <= bufferSize, "a frame is within its buffer");
    frame.resize(length);
    return frame;
}

inline uint16_t ParseInto(int version, const Bytes& frame, byte& seqNo, byte* data, size_t room) {
    const auto size = static_cast<uint16_t>(frame.size());
    const auto dataSize = static_cast<uint16_t>(room);
    switch (version) {
        case 1: return TcFrame_v1::Parse(frame.data(), size, data, dataSize);
        case 2: return TcFrame_v2::Parse(frame.data(), size, seqNo, data, dataSize);
        default: return TcFrame::Parse(frame.data(), size, seqNo, data, dataSize);
    }
}

/** The payload, parsed in place; nothing for a frame that is refused. */
inline Bytes ParseFrame(int version, Bytes frame, byte& seqNo) {
    const uint16_t length = ParseInto(version, frame, seqNo, frame.data(), frame.size());
    Require(length <= frame.size(), "a payload is no longer than its frame");
    frame.resize(length);
    return frame;
}

/** Whether some version takes the block for a frame. */
inline bool IsFrame(const Bytes& block) {
    byte seqNo = 0;
    for (int version = 1; version <= 3; version++)
        if (!ParseFrame(version, block, seqNo).empty()) return true;
    return false;
}
