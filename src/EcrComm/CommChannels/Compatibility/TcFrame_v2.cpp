#include "EcrComm/CommChannels/Compatibility/TcFrame_v2.h"

#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"

namespace {

constexpr uint16_t headerSize = 2;

}  // namespace

uint16_t TcFrame_v2::Build(const byte* data, uint16_t dataSize, byte seqNo, byte* frame,
                           uint16_t frameBufSize) {
    if (!TcFrameSeqNo::IsValid(seqNo)) return 0;
    const CRC_v2 crc = Sum(data, dataSize, seqNo);
    const byte header[headerSize] = {STX, seqNo};
    return BuildBody(header, headerSize, data, dataSize, crc, frame, frameBufSize);
}

uint16_t TcFrame_v2::Parse(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data,
                           uint16_t dataBufSize) {
    const int length = PayloadLength(frame, frameSize, headerSize, dataBufSize);
    if (length < 0) return 0;
    seqNo = frame[1];
    if (!TcFrameSeqNo::IsValid(seqNo)) return 0;
    const auto dataSize = static_cast<uint16_t>(length);
    const CRC_v2 received = ParseBody(frame, headerSize, data, dataSize);
    const CRC_v2 computed = Sum(data, dataSize, seqNo);
    return received.Part1 == computed.Part1 && received.Part2 == computed.Part2 ? dataSize : uint16_t{0};
}
