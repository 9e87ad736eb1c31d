#include "EcrComm/CommChannels/TcFrame.h"

#include <gtest/gtest.h>

#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "Support.h"

TEST(TcFrameTest, WritesAndReadsTheBytesOfEachVersion) {
    const struct {
        const char* payload;
        byte seqNo;
        const char* frames[3];
    } cases[] = {{"01 02 41",
                  0x20,
                  {"02 01 10 A2 41 42 7A 03", "02 20 01 10 A2 41 62 64 03", "02 20 01 10 A2 41 62 67 03"}},
                 {"03 06 10 15",
                  0x21,
                  {"02 10 A3 10 A6 10 B0 10 B5 00 D2 03", "02 21 10 A3 10 A6 10 B0 10 B5 21 4F 03",
                   "02 21 10 A3 10 A6 10 B0 10 B5 21 53 03"}},
                 {"", 0x20, {"02 00 00 03", "02 20 20 20 03", "02 20 20 20 03"}},
                 {"55", 0xFF, {"02 55 55 56 03", "02 FF 55 AA 54 03", "02 FF 55 AA 55 03"}},
                 {"7D 02",
                  0x7C,
                  {"02 7D 10 A2 7F 10 A2 03", "02 7C 7D 10 A2 10 A3 FB 03", "02 7C 7D 10 A2 10 A3 FD 03"}}};
    for (const auto& c : cases)
        for (int version = 1; version <= 3; version++) {
            const Bytes frame = BuildFrame(version, FromHex(c.payload), c.seqNo);
            EXPECT_EQ(ToHex(frame), c.frames[version - 1]) << "version " << version;
            EXPECT_EQ(BuildFrame(version, FromHex(c.payload), c.seqNo, frame.size()), frame);
            EXPECT_TRUE(BuildFrame(version, FromHex(c.payload), c.seqNo, frame.size() - 1).empty());
            byte seqNo = c.seqNo;
            EXPECT_EQ(ToHex(ParseFrame(version, FromHex(c.frames[version - 1]), seqNo)), c.payload);
            EXPECT_EQ(seqNo, c.seqNo);
        }
}

TEST(TcFrameTest, RefusesFlippedAndCutFramesAndTakesLongOnes) {
    for (int version = 1; version <= 3; version++) {
        byte seqNo = 0;
        const Bytes good = BuildFrame(version, FromHex("01 02 41 10 7F"), 0x20);
        for (size_t i = 0; i < good.size(); i++) {
            Bytes frame = good;
            frame[i] ^= 0x40;
            EXPECT_TRUE(ParseFrame(version, frame, seqNo).empty()) << "version " << version << " byte " << i;
            frame.resize(i);
            EXPECT_TRUE(ParseFrame(version, frame, seqNo).empty());
        }
        // escapes that leave a read past the end for the sanitizer to see
        for (const char* frame : {"02 10 10 10 10 03", "02 20 10 10 10 10 10 03", "02 20 41 41 10 03"})
            EXPECT_TRUE(ParseFrame(version, FromHex(frame), seqNo).empty());
        const Bytes payload(400, 0x10);
        EXPECT_EQ(ParseFrame(version, BuildFrame(version, payload, 0x33), seqNo), payload);
    }
}

TEST(TcFrameTest, CountsSequenceNumbersInACircleWithoutControlBytes) {
    EXPECT_EQ(TcFrameSeqNo::Next(0), 32);
    EXPECT_EQ(TcFrameSeqNo::Next(255), 32);
    EXPECT_EQ(TcFrameSeqNo::Next(32), 33);
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(BuildFrame(3, FromHex("41"), static_cast<byte>(i)).empty(), i > 0 && i < 32) << i;
}
