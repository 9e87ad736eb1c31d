#pragma once

#include <cstdint>

#include "Byte.h"
#include "EcrComm/Protocols.h"

/** Outcome of sending or reading one application frame; losses and garbage are counted in IoStatistics. */
enum CommResult {
    CommResult_OK = 0,
    CommResult_ResponseLost = 1,
    CommResult_Garbage = 2,
    CommResult_Error = 3
};

/** The protocol that stamps outgoing frames and filters incoming ones. */
void SetProtocol(ProtocolID id);
ProtocolID GetProtocol();

/** Whether a frame holds the data, application and transport frame both. */
bool FitsFrame(const byte* data, uint16_t dataLength, int frameVersion);

/** Sends one frame; data that does not fit it is an InternalException. */
CommResult SendFrame(const byte* data, uint16_t dataLength);

/**
 * Reads one frame. dataLength is the expected data length on entry, 0 when it is not known, and the length
 * delivered on return. Data larger than dataBufSize is dropped: the result is then OK with a length of 0.
 */
CommResult ReadFrame(byte* data, uint16_t dataBufSize, uint16_t& dataLength);
