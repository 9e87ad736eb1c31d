#include "EcrComm/CommChannels/TcFrame.h"

#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"

namespace {

constexpr uint16_t headerSize = 2;  // STX and the sequence number, which is never escaped

}  // namespace

uint16_t TcFrame::Build(const byte* data, uint16_t dataSize, byte seqNo, byte* frame, uint16_t frameBufSize) {
    if (!TcFrameSeqNo::IsValid(seqNo)) return 0;
    CRC crc = Sum(data, dataSize, seqNo);
    crc.Part2 = static_cast<byte>(crc.Part2 + dataSize);
    const byte header[headerSize] = {STX, seqNo};
    return BuildBody(header, headerSize, data, dataSize, crc, frame, frameBufSize);
}

uint16_t TcFrame::Parse(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data,
                        uint16_t dataBufSize) {
    const int length = PayloadLength(frame, frameSize, headerSize, dataBufSize);
    if (length < 0) return 0;
    seqNo = frame[1];
    if (!TcFrameSeqNo::IsValid(seqNo)) return 0;
    const auto dataSize = static_cast<uint16_t>(length);
    const CRC received = ParseBody(frame, headerSize, data, dataSize);
    const CRC computed = Sum(data, dataSize, seqNo);
    const bool isGood =
        received.Part1 == computed.Part1 && received.Part2 == static_cast<byte>(computed.Part2 + dataSize);
    return isGood ? dataSize : uint16_t{0};
}
