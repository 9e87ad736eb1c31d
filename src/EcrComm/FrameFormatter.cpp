#include "EcrComm/FrameFormatter.h"

#include <cstring>

#include "Exceptions.h"

FrameFormatter::FrameFormatter(ProtocolID id) : m_protocolID(id) {}

uint16_t FrameFormatter::GetDataLength(const byte* frame) {
    return static_cast<uint16_t>(frame[1] | frame[2] << 8);
}

bool FrameFormatter::IsValidFrame(const byte* frame, uint16_t frameBufSize,
                                  uint16_t expectedDataLength) const {
    if (expectedDataLength + headerSize > frameBufSize) throw new InternalException(__FILE__, __LINE__);
    if (frame[0] != m_protocolID) return false;
    return expectedDataLength == 0 || GetDataLength(frame) == expectedDataLength;
}

uint16_t FrameFormatter::BuildFrame(byte* frame, uint16_t frameBufSize, const byte* data,
                                    uint16_t dataLength) const {
    if (dataLength + headerSize > frameBufSize) throw new InternalException(__FILE__, __LINE__);
    frame[0] = m_protocolID;
    frame[1] = static_cast<byte>(dataLength);
    frame[2] = static_cast<byte>(dataLength >> 8);
    if (dataLength > 0) std::memcpy(frame + headerSize, data, dataLength);
    return static_cast<uint16_t>(dataLength + headerSize);
}

uint16_t FrameFormatter::ParseFrame(const byte* frame, uint16_t frameBufSize, byte* data,
                                    uint16_t dataBufSize) const {
    if (!IsValidFrame(frame, frameBufSize, 0)) return 0;
    const uint16_t dataLength = GetDataLength(frame);
    if (dataLength > dataBufSize || dataLength + headerSize > frameBufSize) return 0;
    std::memcpy(data, frame + headerSize, dataLength);
    return dataLength;
}
