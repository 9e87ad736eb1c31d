#include "EcrComm/CommChannels/PortWithTC.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "AppConfig.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/IoStatistics.h"
#include "Support.h"

namespace {

/** A frame of version 3 in hexadecimal. */
std::string FrameOf(const std::string& payload, byte seqNo) {
    return ToHex(BuildFrame(3, FromHex(payload), seqNo));
}

class PortWithTCTest : public testing::Test {
protected:
    PortWithTCTest() { Open("3"); }
    void Open(const char* retryCount) {
        AppConfig::Clear();
        AppConfig::SetParameter("SerialProtocolRetryCount", retryCount, false);
        AppConfig::SetParameter("LineQuietTime", "300", false);
        port.Open();
        port.SetReadTimeout(2100);
    }
    /** Writes a byte; the line answers each frame with the next of these, then with nothing. */
    bool Write(byte value, std::deque<std::string> answers) {
        line.onWrite = [&](const Bytes& block) {
            if (block.size() == 1 || answers.empty()) return;
            line.Reply(answers.front());
            answers.pop_front();
        };
        const bool result = port.Write(&value, 1);
        EXPECT_EQ(line.timeoutMs, 2100u);  // not that of the acknowledgement
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

TEST_F(PortWithTCTest, TriesTheNextVersionOnlyWhenEveryAttemptIsRejectedAndKeepsTheOneThatWorks) {
    EXPECT_TRUE(Write(0x41, {"06"}));
    EXPECT_FALSE(Write(0x42, {"15", "", "15"}));
    EXPECT_EQ(line.TakeWritten(),
              "02 00 41 41 42 03 / 02 20 42 62 63 03 / 02 20 42 62 63 03 / 02 20 42 62 63 03");
    Open("1");
    std::string tried;  // all of them, from the one that is set
    int version = settings::serialProtocolVersion.range.byDefault;
    for (size_t i = 0; i < std::size(frameVersions); i++, version = version % newestFrameVersion + 1)
        tried += (i == 0 ? "" : " / ") + ToHex(BuildFrame(version, {0x41}, 0));
    std::deque<std::string> answers(std::size(frameVersions), "15");
    EXPECT_FALSE(Write(0x41, answers));
    EXPECT_EQ(VersionKept(), "none");
    answers.back() = "06";
    EXPECT_TRUE(Write(0x41, answers));
    EXPECT_EQ(VersionKept(), "2");
    EXPECT_EQ(line.TakeWritten(), tried + " / " + tried);
    Open("2");
    IoStatistics::Reset();
    EXPECT_TRUE(Write(0x41, {"15", "15", "06"}));
    EXPECT_EQ(IoStatistics::RepeatedFrames, 0);  // the line is good
    line.Reply("06");
    EXPECT_TRUE(port.Settle());
    EXPECT_EQ(line.input.size(), 1U);
    line.input.clear();
    line.TakeWritten();
    Open("0");
    EXPECT_FALSE(Write(0x41, {"06"}));
    line.Reply(FrameOf("01", 32));
    EXPECT_EQ(Read(1) + line.TakeWritten(), "lost");
}

TEST_F(PortWithTCTest, DeliversFramesInPiecesAndNeverMixesTwo) {
    EXPECT_TRUE(Write(0x41, {FrameOf("58 59", 32)}));  // in place of the acknowledgement, which was lost
    EXPECT_EQ(Read(2), "58 59");
    line.Reply(FrameOf("01 02 03 04", 33) + " " + FrameOf("05 06", 34));
    EXPECT_EQ(Read(3), "01 02 03");
    EXPECT_EQ(Read(10), "lost");  // only one byte was left
    EXPECT_EQ(Read(1), "05");
    EXPECT_TRUE(Write(0x42, {"06"}));
    line.Reply(FrameOf("07", 35));
    EXPECT_EQ(Read(1), "07");  // what was left belongs to the exchange before
    line.Reply("55 66 03");
    EXPECT_EQ(Read(1), "lost");  // bytes without a frame are not answered
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 06 / 06 / 06 / 02 20 42 62 63 03 / 06");
    const Bytes tooLong(1021, 0x10);
    EXPECT_EQ(FailureOf([&] { port.Write(tooLong.data(), 1021); }).substr(0, 2), "99");
}

TEST_F(PortWithTCTest, DropsWhatIsLateBeforeItPassesForSomethingElse) {
    IoStatistics::Reset();
    EXPECT_TRUE(Write(0x41, {"06 06"}));
    EXPECT_TRUE(port.Settle());
    EXPECT_EQ(line.input.size(), 1U);  // nothing was lost, so nothing is waited for
    line.input.clear();
    EXPECT_TRUE(Write(0x42, {"", "06"}));
    const std::string answer = FrameOf("58", 32);
    line.Reply("06 " + answer + " 15 " + answer + " 55 66 06");
    line.TakeWritten();
    EXPECT_TRUE(port.Settle());
    EXPECT_EQ(line.TakeWritten() + ToHex({line.input.begin(), line.input.end()}), "06 / 06");
    EXPECT_EQ(line.timeoutMs, 2100U);
    EXPECT_EQ(IoStatistics::RepeatedFrames, 3);  // the one written, and the answers
    EXPECT_FALSE(Write(0x43, {}));
    line.Reply("06");
    port.Close();
    EXPECT_TRUE(line.input.empty());
    port.Open();
    EXPECT_TRUE(Write(0x43, {"06 " + answer}));
    EXPECT_EQ(Read(1), "58");
    // a session without a fault waits for nothing at its end: the next one does, for frames of any version
    line.Reply("55 " + answer + " " + ToHex(BuildFrame(1, FromHex("58"), 0)) + " 02 41 41 03 06");
    line.TakeWritten();
    port.Close();
    EXPECT_EQ(line.TakeWritten(), "");
    port.Open();
    EXPECT_EQ(line.TakeWritten() + ToHex({line.input.begin(), line.input.end()}), "06 / 06 / 15");
    EXPECT_TRUE(Write(0x43, {"06 " + answer}));
    EXPECT_EQ(Read(1), "58");
    AppConfig::SetParameter("LineQuietTime", "1", false);
    port.Open();
    line.onWrite = [&](const Bytes&) { line.Reply(answer); };  // it never becomes quiet
    const byte record = 0x44;
    EXPECT_TRUE(port.Write(&record, 1));
    SelectCommChannel(Lend(&port));
    EXPECT_EQ(FailureOf(SendEndOfData), "5 Garbage received");
    EXPECT_EQ(FailureOf([&] { port.Open(); }), "5 Garbage received");
    SelectCommChannel(Lend(nullptr));
}

TEST(TcFrameTest, WritesAndReadsTheBytesOfEachVersion) {
    std::set<int> written;
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
        written.insert(version);
        auto seqNo = static_cast<byte>(number);
        const Bytes frame = BuildFrame(version, FromHex(payload), seqNo);
        EXPECT_EQ(ToHex(frame), bytes) << "version " << version;
        EXPECT_EQ(BuildFrame(version, FromHex(payload), seqNo, frame.size()), frame);
        EXPECT_TRUE(BuildFrame(version, FromHex(payload), seqNo, frame.size() - 1).empty());
        EXPECT_EQ(ToHex(ParseFrame(version, FromHex(bytes), seqNo)), payload);
        EXPECT_EQ(seqNo, number);
        for (size_t i = 0; i < frame.size(); i++) {
            Bytes bad = frame;
            bad[i] ^= 0x40;
            EXPECT_TRUE(ParseFrame(version, bad, seqNo).empty()) << bytes << " with another byte " << i;
            bad.resize(i);
            EXPECT_TRUE(ParseFrame(version, bad, seqNo).empty()) << bytes << " cut to " << i;
        }
    }
    EXPECT_EQ(written.size(), std::size(frameVersions)) << "a version without bytes";
}

TEST(TcFrameTest, TakesLongFramesAndNoControlByteForANumber) {
    for (int version = 1; version <= newestFrameVersion; version++) {
        byte seqNo = 0;
        EXPECT_EQ(ParseFrame(version, BuildFrame(version, Bytes(400, 0x10), 0x33), seqNo), Bytes(400, 0x10));
        EXPECT_TRUE(ParseFrame(version, FromHex("02 20 10 10 10 10 10 03"), seqNo).empty());  // past its end
        // payloads of the same XOR, of the same sum, and of the same sum of both: one check byte alone tells
        for (const auto& [good, bad] :
             {std::pair("41 52", "45 56"), {"41 64", "42 63"}, {"41 64", "45 64"}}) {
            Bytes frame = BuildFrame(version, FromHex(good), 0x20);
            const Bytes other = FromHex(bad);
            std::copy(other.begin(), other.end(), frame.end() - 5);
            EXPECT_TRUE(ParseFrame(version, frame, seqNo).empty()) << "version " << version << ": " << bad;
        }
    }
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(BuildFrame(3, FromHex("41"), static_cast<byte>(i)).empty(), i > 0 && i < 32) << i;
    EXPECT_EQ(TcFrameSeqNo::Next(255), 32);
}
