#pragma once

#include <cstdint>

#include "Byte.h"

/** Control bytes on the line; docs/protocol.md, "Transport-control frames". */
inline constexpr byte STX = 0x02;
inline constexpr byte ETX = 0x03;
inline constexpr byte ACK = 0x06;
inline constexpr byte DLE = 0x10;
inline constexpr byte NAK = 0x15;

/** The two check bytes of a frame, computed over the unescaped bytes: an XOR and a sum, not a cyclic code. */
struct CRC {
    CRC(byte part1, byte part2) : Part1(part1), Part2(part2) {}
    byte Part1;
    byte Part2;
};

/** What the frames of all versions share: escaping, and the body between the header and ETX. No state, no
 * I/O. */
class TcFrameBytes {
public:
    static bool IsControlByte(byte value);
    /**
     * Writes value at dest or, for a control byte, its escaped form at dest and DLE at dest - 1: buffers are
     * filled from their end. Returns the bytes written, 1 or 2.
     */
    static uint16_t EscapeByte(byte* dest, byte value);
    /** Returns the bytes consumed, 1 or 2; what follows DLE is not checked. */
    static uint16_t UnescapeByte(const byte* src, byte& value);

protected:
    /** XOR and sum of the payload, both starting from the given value. */
    static CRC Sum(const byte* data, uint16_t dataSize, byte start);
    /** header, escaped payload, escaped check bytes and ETX; the length, or 0 when the buffer is too small.
     */
    static uint16_t BuildBody(const byte* header, uint16_t headerSize, const byte* data, uint16_t dataSize,
                              const CRC& checkBytes, byte* frame, uint16_t frameBufSize);
    /** Payload length of a frame with this header size, or -1 when its ends or its length are wrong. */
    static int PayloadLength(const byte* frame, uint16_t frameSize, uint16_t headerSize,
                             uint16_t dataBufSize);
    /** Unescapes the payload into data, which may be the frame itself; returns the check bytes behind it. */
    static CRC ParseBody(const byte* frame, uint16_t headerSize, byte* data, uint16_t dataSize);

    /** Computes the check bytes of a payload in a frame of this number. */
    using NumberedSum = CRC (*)(const byte* data, uint16_t dataSize, byte seqNo);
    /** Build and Parse of the versions with a sequence number, which differ in their check bytes. */
    static uint16_t BuildNumbered(const byte* data, uint16_t dataSize, byte seqNo, NumberedSum sum,
                                  byte* frame, uint16_t frameBufSize);
    static uint16_t ParseNumbered(const byte* frame, uint16_t frameSize, byte& seqNo, NumberedSum sum,
                                  byte* data, uint16_t dataBufSize);
};
