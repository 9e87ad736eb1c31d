#include "EcrComm/CommChannels/TcFrameBytes.h"

#include <algorithm>
#include <cstring>

#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"

namespace {

constexpr byte escapeOffset = 0x60;
constexpr uint16_t numberedHeaderSize = 2;  // STX and the sequence number, which is never escaped

}  // namespace

bool TcFrameBytes::IsControlByte(byte value) {
    return value == STX || value == ETX || value == ACK || value == DLE || value == NAK;
}

uint16_t TcFrameBytes::EscapeByte(byte* dest, byte value) {
    if (!IsControlByte(value)) {
        *dest = value;
        return 1;
    }
    *dest = static_cast<byte>(value - escapeOffset);
    *(dest - 1) = DLE;
    return 2;
}

uint16_t TcFrameBytes::UnescapeByte(const byte* src, byte& value) {
    if (*src != DLE) {
        value = *src;
        return 1;
    }
    value = static_cast<byte>(src[1] + escapeOffset);
    return 2;
}

CRC TcFrameBytes::Sum(const byte* data, uint16_t dataSize, byte start) {
    CRC checkBytes(start, start);
    for (uint16_t i = 0; i < dataSize; i++) {
        checkBytes.Part1 = static_cast<byte>(checkBytes.Part1 ^ data[i]);
        checkBytes.Part2 = static_cast<byte>(checkBytes.Part2 + data[i]);
    }
    return checkBytes;
}

uint16_t TcFrameBytes::BuildBody(const byte* header, uint16_t headerSize, const byte* data, uint16_t dataSize,
                                 const CRC& checkBytes, byte* frame, uint16_t frameBufSize) {
    const auto escapes = std::count_if(data, data + dataSize, IsControlByte) +
                         (IsControlByte(checkBytes.Part1) ? 1 : 0) +
                         (IsControlByte(checkBytes.Part2) ? 1 : 0);
    const size_t length = headerSize + dataSize + size_t{3} + static_cast<size_t>(escapes);
    if (length > frameBufSize) return 0;

    byte* position = frame + length;  // one past the bytes still to be written
    *--position = ETX;
    position -= EscapeByte(position - 1, checkBytes.Part2);
    position -= EscapeByte(position - 1, checkBytes.Part1);
    for (uint16_t i = dataSize; i > 0; i--) position -= EscapeByte(position - 1, data[i - 1]);
    std::memcpy(frame, header, headerSize);
    return static_cast<uint16_t>(length);
}

int TcFrameBytes::PayloadLength(const byte* frame, uint16_t frameSize, uint16_t headerSize,
                                uint16_t dataBufSize) {
    if (frameSize < headerSize + 3 || frame[0] != STX || frame[frameSize - 1] != ETX) return -1;
    const auto escapes = std::count(frame, frame + frameSize, DLE);
    // With more escapes than bytes this wraps to a length that no buffer has. Otherwise reading that many
    // payload bytes and two check bytes ends before the frame does, however the DLEs are placed.
    const auto length = static_cast<uint16_t>(frameSize - headerSize - 3 - escapes);
    return length > dataBufSize ? -1 : length;
}

CRC TcFrameBytes::ParseBody(const byte* frame, uint16_t headerSize, byte* data, uint16_t dataSize) {
    const byte* position = frame + headerSize;
    for (uint16_t i = 0; i < dataSize; i++) position += UnescapeByte(position, data[i]);
    CRC checkBytes(0, 0);
    position += UnescapeByte(position, checkBytes.Part1);
    UnescapeByte(position, checkBytes.Part2);
    return checkBytes;
}

uint16_t TcFrameBytes::BuildNumbered(const byte* data, uint16_t dataSize, byte seqNo, NumberedSum sum,
                                     byte* frame, uint16_t frameBufSize) {
    if (!TcFrameSeqNo::IsValid(seqNo)) return 0;
    const byte header[numberedHeaderSize] = {STX, seqNo};
    return BuildBody(header, numberedHeaderSize, data, dataSize, sum(data, dataSize, seqNo), frame,
                     frameBufSize);
}

uint16_t TcFrameBytes::ParseNumbered(const byte* frame, uint16_t frameSize, byte& seqNo, NumberedSum sum,
                                     byte* data, uint16_t dataBufSize) {
    const int length = PayloadLength(frame, frameSize, numberedHeaderSize, dataBufSize);
    if (length < 0) return 0;
    seqNo = frame[1];
    if (!TcFrameSeqNo::IsValid(seqNo)) return 0;
    const auto dataSize = static_cast<uint16_t>(length);
    const CRC received = ParseBody(frame, numberedHeaderSize, data, dataSize);
    const CRC computed = sum(data, dataSize, seqNo);
    return received.Part1 == computed.Part1 && received.Part2 == computed.Part2 ? dataSize : uint16_t{0};
}
