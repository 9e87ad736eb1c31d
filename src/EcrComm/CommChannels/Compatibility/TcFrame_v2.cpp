#include "EcrComm/CommChannels/Compatibility/TcFrame_v2.h"

uint16_t TcFrame_v2::Build(const byte* data, uint16_t dataSize, byte seqNo, byte* frame,
                           uint16_t frameBufSize) {
    return BuildNumbered(data, dataSize, seqNo, Sum, frame, frameBufSize);
}

uint16_t TcFrame_v2::Parse(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data,
                           uint16_t dataBufSize) {
    return ParseNumbered(frame, frameSize, seqNo, Sum, data, dataBufSize);
}
