#include "EcrComm/CommChannels/TcFrame.h"

CRC TcFrame::SumWithLength(const byte* data, uint16_t dataSize, byte seqNo) {
    CRC checkBytes = Sum(data, dataSize, seqNo);
    checkBytes.Part2 = static_cast<byte>(checkBytes.Part2 + dataSize);
    return checkBytes;
}

uint16_t TcFrame::Build(const byte* data, uint16_t dataSize, byte seqNo, byte* frame, uint16_t frameBufSize) {
    return BuildNumbered(data, dataSize, seqNo, SumWithLength, frame, frameBufSize);
}

uint16_t TcFrame::Parse(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data,
                        uint16_t dataBufSize) {
    return ParseNumbered(frame, frameSize, seqNo, SumWithLength, data, dataBufSize);
}
