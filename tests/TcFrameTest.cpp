#include "EcrComm/CommChannels/TcFrame.h"

#include <gtest/gtest.h>

#include <random>

#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/Compatibility/TcFrame_v1.h"
#include "EcrComm/CommChannels/Compatibility/TcFrame_v2.h"
#include "Support.h"

namespace {

Bytes Build(int version, const Bytes& payload, byte seqNo, uint16_t bufferSize = 1024) {
    Bytes frame(bufferSize);
    const auto size = static_cast<uint16_t>(payload.size());
    const uint16_t length = version == 1 ? TcFrame_v1::Build(payload.data(), size, frame.data(), bufferSize)
                            : version == 2
                                ? TcFrame_v2::Build(payload.data(), size, seqNo, frame.data(), bufferSize)
                                : TcFrame::Build(payload.data(), size, seqNo, frame.data(), bufferSize);
    frame.resize(length);
    return frame;
}

/** Parses in place, as the port does; an exact buffer lets the sanitizer see a read past the frame's end. */
Bytes Parse(int version, Bytes frame, byte& seqNo) {
    const auto size = static_cast<uint16_t>(frame.size());
    const uint16_t length = version == 1   ? TcFrame_v1::Parse(frame.data(), size, frame.data(), size)
                            : version == 2 ? TcFrame_v2::Parse(frame.data(), size, seqNo, frame.data(), size)
                                           : TcFrame::Parse(frame.data(), size, seqNo, frame.data(), size);
    frame.resize(length);
    return frame;
}

}  // namespace

TEST(TcFrameTest, WritesTheBytesOfEachVersion) {
    const struct {
        const char* payload;
        byte seqNo;
        const char* frames[3];
    } cases[] = {{"01 02 41",
                  0x20,
                  {"02 01 10 A2 41 42 7A 03", "02 20 01 10 A2 41 62 64 03", "02 20 01 10 A2 41 62 67 03"}},
                 {"10 03",
                  0x21,
                  {"02 10 B0 10 A3 13 DA 03", "02 21 10 B0 10 A3 32 34 03", "02 21 10 B0 10 A3 32 36 03"}},
                 {"", 0x20, {"02 00 00 03", "02 20 20 20 03", "02 20 20 20 03"}},
                 {"0B 0D 00 0C 01 01 0B 42 72 65 61 64 0D 01 02 7D",
                  0x20,
                  {"02 0B 0D 00 0C 01 01 0B 42 72 65 61 64 0D 01 10 A2 7D 22 42 03",
                   "02 20 0B 0D 00 0C 01 01 0B 42 72 65 61 64 0D 01 10 A2 7D 10 A2 BC 03",
                   "02 20 0B 0D 00 0C 01 01 0B 42 72 65 61 64 0D 01 10 A2 7D 10 A2 CC 03"}},
                 {"55", 0xFF, {"02 55 55 56 03", "02 FF 55 AA 54 03", "02 FF 55 AA 55 03"}}};
    for (const auto& c : cases) {
        const Bytes payload = FromHex(c.payload);
        for (int version = 1; version <= 3; version++) {
            EXPECT_EQ(ToHex(Build(version, payload, c.seqNo)), c.frames[version - 1])
                << "version " << version;
            byte seqNo = c.seqNo;
            EXPECT_EQ(ToHex(Parse(version, FromHex(c.frames[version - 1]), seqNo)), c.payload);
            EXPECT_EQ(seqNo, c.seqNo);
        }
    }
}

TEST(TcFrameTest, EscapesEveryControlByteAndCountsItInTheLength) {
    const Bytes payload = FromHex("02 03 06 10 15");
    for (int version = 1; version <= 3; version++) {
        const Bytes frame = Build(version, payload, 0x40);
        ASSERT_FALSE(frame.empty());
        EXPECT_NE(ToHex(frame).find("10 A2 10 A3 10 A6 10 B0 10 B5"), std::string::npos);
        EXPECT_TRUE(Build(version, payload, 0x40, static_cast<uint16_t>(frame.size() - 1)).empty());
    }
}

TEST(TcFrameTest, RefusesFlippedAndCutFrames) {
    for (int version = 1; version <= 3; version++) {
        const Bytes good = Build(version, FromHex("01 02 41 10 7F"), 0x20);
        for (size_t i = 0; i < good.size(); i++) {
            byte seqNo = 0;
            Bytes flipped = good;
            flipped[i] ^= 0x40;
            EXPECT_TRUE(Parse(version, flipped, seqNo).empty()) << "version " << version << " byte " << i;
            EXPECT_TRUE(
                Parse(version, Bytes(good.begin(), good.begin() + static_cast<long>(i)), seqNo).empty());
        }
    }
}

TEST(TcFrameTest, NeverReadsPastTheEndOfAnyFrame) {
    std::mt19937 random(7);
    for (int round = 0; round < 200'000; round++) {
        Bytes frame(1 + random() % 12);
        for (byte& b : frame) b = random() % 2 == 0 ? DLE : static_cast<byte>(random());
        frame.front() = STX;
        frame.back() = ETX;
        byte seqNo = 0;
        Parse(1 + static_cast<int>(random() % 3), frame, seqNo);
    }
}

TEST(TcFrameTest, HandlesPayloadsAbove255BytesWhole) {
    const Bytes payload(400, 0x10);
    for (int version = 1; version <= 3; version++) {
        byte seqNo = 0;
        EXPECT_EQ(Parse(version, Build(version, payload, 0x33), seqNo), payload);
    }
}

TEST(TcFrameTest, TellsTheSequenceNumberOfARefusedFrame) {
    byte seqNo = 0;
    EXPECT_TRUE(Parse(3, FromHex("02 05 41 41 41 03"), seqNo).empty());
    EXPECT_EQ(seqNo, 5);
    EXPECT_TRUE(Build(3, FromHex("41"), 31).empty());
    EXPECT_FALSE(Build(3, FromHex("41"), 0).empty());
}

TEST(TcFrameTest, CountsSequenceNumbersInACircleWithoutControlBytes) {
    EXPECT_EQ(TcFrameSeqNo::Next(0), 32);
    EXPECT_EQ(TcFrameSeqNo::Next(255), 32);
    EXPECT_EQ(TcFrameSeqNo::Next(32), 33);
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(TcFrameSeqNo::IsValid(static_cast<byte>(i)), i == 0 || i > 31) << i;
}
