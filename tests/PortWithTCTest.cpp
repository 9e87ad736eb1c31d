#include "EcrComm/CommChannels/PortWithTC.h"

#include <gtest/gtest.h>

#include "AppConfig.h"
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
