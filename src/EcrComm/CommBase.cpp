#include "EcrComm/CommBase.h"

#include "Defaults.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/FrameVersion.h"
#include "EcrComm/FrameFormatter.h"
#include "EcrComm/IoStatistics.h"

namespace {

byte ioBuffer[commIoBufferSize];
FrameFormatter frameFormatter(Protocol_None);
ProtocolID currentProtocolID = Protocol_None;

constexpr uint16_t headerSize = FrameFormatter::headerSize;

CommResult Lost() {
    IoStatistics::LostRespCount++;
    return CommResult_ResponseLost;
}

CommResult Garbage() {
    IoStatistics::GarbageCount++;
    return CommResult_Garbage;
}

/** Reads a frame of known data length whole, one of unknown length by its header first. */
CommResult ReadIntoBuffer(uint16_t expectedLength) {
    if (expectedLength != 0) {
        if (expectedLength + headerSize > commIoBufferSize) return CommResult_Error;
        return CommChannel_Read(ioBuffer, expectedLength + 0U + headerSize) ? CommResult_OK : Lost();
    }
    if (!CommChannel_Read(ioBuffer, headerSize)) return Lost();
    const uint16_t dataLength = FrameFormatter::GetDataLength(ioBuffer);
    if (dataLength == 0) return CommResult_OK;
    if (dataLength + headerSize > commIoBufferSize) return Garbage();
    return CommChannel_Read(ioBuffer + headerSize, dataLength) ? CommResult_OK : Lost();
}

}  // namespace

void SetProtocol(ProtocolID id) {
    if (id == currentProtocolID) return;
    frameFormatter = FrameFormatter(id);
    currentProtocolID = id;
}

ProtocolID GetProtocol() { return currentProtocolID; }

bool FitsFrame(const byte* data, uint16_t dataLength, int frameVersion) {
    if (dataLength + headerSize > commIoBufferSize) return false;
    const uint16_t length = frameFormatter.BuildFrame(ioBuffer, commIoBufferSize, data, dataLength);
    byte frame[commIoBufferSize];
    return GetFrameVersion(frameVersion)
               .build(ioBuffer, length, TcFrameSeqNo::firstRunning, frame, sizeof frame) != 0;
}

CommResult SendFrame(const byte* data, uint16_t dataLength) {
    const uint16_t frameLength = frameFormatter.BuildFrame(ioBuffer, commIoBufferSize, data, dataLength);
    if (!CommChannel_Write(ioBuffer, frameLength)) return Lost();
    IoStatistics::FramesSend++;
    return CommResult_OK;
}

CommResult ReadFrame(byte* data, uint16_t dataBufSize, uint16_t& dataLength) {
    const uint16_t expectedLength = dataLength;
    const CommResult result = ReadIntoBuffer(expectedLength);
    if (result != CommResult_OK) return result;
    IoStatistics::FramesReceived++;
    if (!frameFormatter.IsValidFrame(ioBuffer, commIoBufferSize, expectedLength)) return Garbage();
    // Data that does not fit the caller's buffer comes back as length 0 and still OK: meant, every caller
    // that needs data takes a length of 0 for a lost response.
    dataLength = frameFormatter.ParseFrame(ioBuffer, commIoBufferSize, data, dataBufSize);
    return CommResult_OK;
}
