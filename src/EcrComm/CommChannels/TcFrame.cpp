#include "EcrComm/CommChannels/TcFrame.h"

uint16_t TcFrame::Build(const byte* data, uint16_t dataSize, byte seqNo, byte* frame, uint16_t frameBufSize) {
    return BuildNumbered(data, dataSize, seqNo, true, frame, frameBufSize);
}

uint16_t TcFrame::Parse(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data,
                        uint16_t dataBufSize) {
    return ParseNumbered(frame, frameSize, seqNo, true, data, dataBufSize);
}
