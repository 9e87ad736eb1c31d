#pragma once

#include <cstdint>

#include "Byte.h"
#include "EcrComm/Protocols.h"

/**
 * Application frames of one protocol: protocol id (1 byte), data length (2 bytes, low byte first), data.
 * docs/protocol.md, "Application frames".
 */
class FrameFormatter {
public:
    static constexpr uint16_t headerSize = 3;

    explicit FrameFormatter(ProtocolID id);

    /** Data length that the header announces. */
    static uint16_t GetDataLength(const byte* frame);

    /** Whether protocol and, unless 0, data length are the expected ones; InternalException when that cannot
     * fit. */
    bool IsValidFrame(const byte* frame, uint16_t frameBufSize, uint16_t expectedDataLength) const;
    /** Returns the frame length; InternalException for a buffer that is too small. */
    uint16_t BuildFrame(byte* frame, uint16_t frameBufSize, const byte* data, uint16_t dataLength) const;
    /** Returns the data length; 0 for a frame of another protocol and for data that does not fit. */
    uint16_t ParseFrame(const byte* frame, uint16_t frameBufSize, byte* data, uint16_t dataBufSize) const;

private:
    ProtocolID m_protocolID;
};
