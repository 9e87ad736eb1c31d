#include "EcrComm/CommChannels/PortWithTC.h"

#include <gtest/gtest.h>

#include <tuple>

#include "AppConfig.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "Support.h"

namespace {

/** A frame of version 3 in hexadecimal. */
std::string Frame(byte seqNo, const std::string& payload) {
    return ToHex(BuildFrame(3, FromHex(payload), seqNo));
}

class PortWithTCTest : public testing::Test {
protected:
    PortWithTCTest() { Open("3"); }
    void Open(const char* retryCount) {
        AppConfig::Clear();
        AppConfig::SetParameter("SerialProtocolRetryCount", retryCount, false);
        port.Open();
        port.SetReadTimeout(2100);
    }
    /** Writes a block; the line answers each frame with the next of these, then with nothing. */
    bool Write(const std::string& hex, std::deque<std::string> answers) {
        line.onWrite = [&](const Bytes& block) {
            if (block.size() == 1 || answers.empty()) return;
            line.Reply(answers.front());
            answers.pop_front();
        };
        const Bytes data = FromHex(hex);
        const bool result = port.Write(data.data(), static_cast<unsigned>(data.size()));
        EXPECT_EQ(line.timeoutMs, 2100u);  // not that of the acknowledgement
        line.onWrite = nullptr;
        return result;
    }
    /** What reading size bytes gives: the bytes, or "lost". */
    std::string Read(unsigned int size) {
        Bytes data(size);
        return port.Read(data.data(), size) ? ToHex(data) : "lost";
    }
    static std::string VersionKept() { return AppConfig::GetParameter("SerialProtocolVersion", "none"); }

    MemoryChannel line;
    PortWithTC port{Lend(&line)};
};

}  // namespace

TEST_F(PortWithTCTest, NumbersFramesFromZeroAndRepeatsOneWithItsNumber) {
    EXPECT_TRUE(Write("41", {"06"}));
    EXPECT_TRUE(Write("42", {"15", "06"}));
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 02 20 42 62 63 03 / 02 20 42 62 63 03");
}

TEST_F(PortWithTCTest, TriesTheNextVersionOnlyWhenEveryAttemptIsRejectedAndKeepsTheOneThatWorks) {
    EXPECT_FALSE(Write("41", {"15", "", "15"}));
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 02 00 41 41 42 03 / 02 00 41 41 42 03");
    EXPECT_EQ(VersionKept(), "none");
    Open("1");
    EXPECT_FALSE(Write("41", {"15", "15", "15", "15"}));
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 02 41 41 7E 03 / 02 00 41 41 41 03");
    EXPECT_EQ(VersionKept(), "none");
    EXPECT_TRUE(Write("41", {"15", "15", "06"}));
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 02 41 41 7E 03 / 02 00 41 41 41 03");
    EXPECT_EQ(VersionKept(), "2");
    Open("0");
    EXPECT_FALSE(Write("41", {"06"}));
    EXPECT_EQ(Read(1), "lost");
    EXPECT_EQ(line.TakeWritten(), "");
}

TEST_F(PortWithTCTest, DeliversFramesInPiecesAndNeverMixesTwo) {
    EXPECT_TRUE(Write("41", {Frame(32, "58 59")}));  // in place of the acknowledgement, which was lost
    EXPECT_EQ(Read(2), "58 59");
    line.Reply(Frame(33, "01 02 03 04") + " " + Frame(34, "05 06"));
    EXPECT_EQ(Read(3), "01 02 03");
    EXPECT_EQ(Read(10), "lost");  // only one byte was left
    EXPECT_EQ(Read(1), "05");
    EXPECT_TRUE(Write("42", {"06"}));
    line.Reply(Frame(35, "07"));
    EXPECT_EQ(Read(1), "07");  // what was left belongs to the exchange before
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 06 / 06 / 06 / 02 20 42 62 63 03 / 06");
}

TEST_F(PortWithTCTest, DropsNoiseAndRepeatedFramesAndAsksForABadOneAgain) {
    line.Reply("06 55 " + Frame(32, "01") + " " + Frame(32, "01") + " " + Frame(33, "02"));
    EXPECT_EQ(Read(1), "01");
    EXPECT_EQ(Read(1), "02");
    line.Reply("02 22 01 20 99 03 " + Frame(34, "03"));
    EXPECT_EQ(Read(1), "03");
    line.Reply("55 66 03");
    EXPECT_EQ(Read(1), "lost");
    EXPECT_EQ(line.TakeWritten(), "06 / 06 / 06 / 15 / 06");  // bytes without a frame are not answered
}

TEST_F(PortWithTCTest, RefusesABlockThatNoFrameHolds) {
    const Bytes block(1021, 0x10);
    byte buffer[1];
    EXPECT_EQ(FailureOf([&] { port.Write(block.data(), 1021); }).substr(0, 2), "99");
    EXPECT_EQ(FailureOf([&] { port.Write(nullptr, 1); }).substr(0, 2), "99");
    EXPECT_EQ(FailureOf([&] { port.Read(buffer, 0); }).substr(0, 2), "99");
    EXPECT_EQ(FailureOf([] { PortWithTC::Create(CommChannel_SerialPort); }).substr(0, 2), "99");
}

TEST(TcFrameTest, WritesAndReadsTheBytesOfEachVersion) {
    for (const auto& [version, payload, number, bytes] :
         {std::tuple(1, "01 02 41", 0x20, "02 01 10 A2 41 42 7A 03"),
          {2, "01 02 41", 0x20, "02 20 01 10 A2 41 62 64 03"},
          {3, "01 02 41", 0x20, "02 20 01 10 A2 41 62 67 03"},
          {1, "03 06 10 15", 0x21, "02 10 A3 10 A6 10 B0 10 B5 00 D2 03"},
          {2, "03 06 10 15", 0x21, "02 21 10 A3 10 A6 10 B0 10 B5 21 4F 03"},
          {3, "03 06 10 15", 0x21, "02 21 10 A3 10 A6 10 B0 10 B5 21 53 03"},
          {1, "7D 02", 0x7C, "02 7D 10 A2 7F 10 A2 03"},
          {2, "7D 02", 0x7C, "02 7C 7D 10 A2 10 A3 FB 03"},
          {3, "7D 02", 0x7C, "02 7C 7D 10 A2 10 A3 FD 03"},
          {2, "55", 0xFF, "02 FF 55 AA 54 03"},
          {3, "", 0x20, "02 20 20 20 03"}}) {
        auto seqNo = static_cast<byte>(number);
        const Bytes frame = BuildFrame(version, FromHex(payload), seqNo);
        EXPECT_EQ(ToHex(frame), bytes) << "version " << version;
        EXPECT_EQ(BuildFrame(version, FromHex(payload), seqNo, frame.size()), frame);
        EXPECT_TRUE(BuildFrame(version, FromHex(payload), seqNo, frame.size() - 1).empty());
        EXPECT_EQ(ToHex(ParseFrame(version, FromHex(bytes), seqNo)), payload);
        EXPECT_EQ(seqNo, number);
    }
}

TEST(TcFrameTest, RefusesFlippedAndCutFramesAndTakesLongOnes) {
    for (int version = 1; version <= newestFrameVersion; version++) {
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
