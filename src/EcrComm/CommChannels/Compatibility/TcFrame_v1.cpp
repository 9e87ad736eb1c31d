#include "EcrComm/CommChannels/Compatibility/TcFrame_v1.h"

namespace {

constexpr uint16_t headerSize = 1;

/** Sum byte of a payload whose plain XOR and sum are given. */
byte Complement(const CRC_v1& checkBytes) {
    return static_cast<byte>(0 - (checkBytes.Part2 + checkBytes.Part1));
}

}  // namespace

uint16_t TcFrame_v1::Build(const byte* data, uint16_t dataSize, byte* frame, uint16_t frameBufSize) {
    CRC_v1 checkBytes = Sum(data, dataSize, 0);
    checkBytes.Part2 = Complement(checkBytes);
    return BuildBody(&STX, headerSize, data, dataSize, checkBytes, frame, frameBufSize);
}

uint16_t TcFrame_v1::Parse(const byte* frame, uint16_t frameSize, byte* data, uint16_t dataBufSize) {
    const int length = PayloadLength(frame, frameSize, headerSize, dataBufSize);
    if (length < 0) return 0;
    const auto dataSize = static_cast<uint16_t>(length);
    const CRC_v1 received = ParseBody(frame, headerSize, data, dataSize);
    const CRC_v1 computed = Sum(data, dataSize, 0);
    return received.Part1 == computed.Part1 && received.Part2 == Complement(computed) ? dataSize
                                                                                      : uint16_t{0};
}
