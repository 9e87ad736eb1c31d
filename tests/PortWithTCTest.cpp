#include "EcrComm/CommChannels/PortWithTC.h"

#include <gtest/gtest.h>

#include "AppConfig.h"
#include "EcrComm/CommChannels/TcFrame.h"
#include "Support.h"

namespace {

/** A frame of version 3 in hexadecimal. */
std::string Frame(byte seqNo, const std::string& payload) {
    const Bytes data = FromHex(payload);
    byte frame[2048];
    return ToHex(frame,
                 TcFrame::Build(data.data(), static_cast<uint16_t>(data.size()), seqNo, frame, sizeof frame));
}

class PortWithTCTest : public testing::Test {
protected:
    void SetUp() override {
        AppConfig::Clear();
        AppConfig::SetParameter("SerialProtocolRetryCount", "3", false);
        port.Open();
    }
    bool Write(const std::string& hex) {
        const Bytes data = FromHex(hex);
        return port.Write(data.data(), static_cast<unsigned>(data.size()));
    }
    /** What reading size bytes gives: the bytes, or "lost". */
    std::string Read(unsigned int size) {
        Bytes data(size);
        return port.Read(data.data(), size) ? ToHex(data) : "lost";
    }
    /** Answers each frame with the next of these, then with nothing. */
    void AnswerFrames(std::deque<std::string> answers) {
        line.onWrite = [this, answers](const Bytes& block) mutable {
            if (block.size() == 1 || answers.empty()) return;
            line.Reply(answers.front());
            answers.pop_front();
        };
    }

    MemoryChannel line;
    PortWithTC port{line.Lend()};
};

}  // namespace

TEST_F(PortWithTCTest, NumbersFramesFromZeroAndRepeatsOneWithItsNumber) {
    AnswerFrames({"06", "15", "06"});
    EXPECT_TRUE(Write("41"));
    EXPECT_TRUE(Write("42"));
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 02 20 42 62 63 03 / 02 20 42 62 63 03");
}

TEST_F(PortWithTCTest, GivesUpWithoutTryingAnotherVersionWhenSomeAttemptsGotNoAnswer) {
    AnswerFrames({"15", "", "15"});
    EXPECT_FALSE(Write("41"));
    EXPECT_EQ(line.written.size(), 3u);
    EXPECT_EQ(AppConfig::GetParameter("SerialProtocolVersion", ""), "");
}

TEST_F(PortWithTCTest, TriesTheNextVersionWhenEveryAttemptIsRejectedAndKeepsTheOneThatWorks) {
    AnswerFrames({"15", "15", "15", "15", "15", "15", "06"});
    EXPECT_TRUE(Write("41"));
    EXPECT_EQ(line.TakeWritten(),
              "02 00 41 41 42 03 / 02 00 41 41 42 03 / 02 00 41 41 42 03 / "
              "02 41 41 7E 03 / 02 41 41 7E 03 / 02 41 41 7E 03 / 02 00 41 41 41 03");
    EXPECT_EQ(AppConfig::GetParameter("SerialProtocolVersion", ""), "2");
}

TEST_F(PortWithTCTest, EndsAfterAllVersionsWereRejected) {
    line.onWrite = [this](const Bytes&) { line.Reply("15"); };
    EXPECT_FALSE(Write("41"));
    EXPECT_EQ(line.TakeWritten().find("02 00 41 41 42 03"), 0u);
    EXPECT_FALSE(Write("41"));
    EXPECT_EQ(line.written.size(), 9u);  // the nesting ended properly the first time
}

TEST_F(PortWithTCTest, SendsNothingWithARetryCountOfZero) {
    AppConfig::SetParameter("SerialProtocolRetryCount", "0", false);
    port.Open();
    EXPECT_FALSE(Write("41"));
    EXPECT_EQ(Read(1), "lost");
    EXPECT_EQ(line.TakeWritten(), "");
}

TEST_F(PortWithTCTest, TakesAnAnswerFrameForTheLostAcknowledgement) {
    AnswerFrames({Frame(32, "58 59")});
    EXPECT_TRUE(Write("41"));
    EXPECT_EQ(Read(2), "58 59");
    EXPECT_EQ(line.TakeWritten(), "02 00 41 41 42 03 / 06");
}

TEST_F(PortWithTCTest, DeliversAFrameInPiecesAndNeverMixesTwo) {
    line.Reply(Frame(32, "01 02 03 04"));
    line.Reply(Frame(33, "05"));
    EXPECT_EQ(Read(3), "01 02 03");
    EXPECT_EQ(Read(10), "lost");  // only one byte was left
    EXPECT_EQ(Read(1), "05");
}

TEST_F(PortWithTCTest, AcknowledgesAndDropsARepeatedFrame) {
    line.Reply(Frame(32, "01"));
    line.Reply(Frame(32, "01"));
    line.Reply(Frame(33, "02"));
    EXPECT_EQ(Read(1), "01");
    EXPECT_EQ(Read(1), "02");
    EXPECT_EQ(line.TakeWritten(), "06 / 06 / 06");
}

TEST_F(PortWithTCTest, DropsNoiseAheadOfAFrameAndAsksForABadOneAgain) {
    line.Reply("06 55 " + Frame(32, "01"));
    EXPECT_EQ(Read(1), "01");
    EXPECT_EQ(line.TakeWritten(), "06");
    line.Reply("02 21 01 20 99 03");
    line.Reply(Frame(33, "02"));
    EXPECT_EQ(Read(1), "02");
    EXPECT_EQ(line.TakeWritten(), "15 / 06");
    line.Reply("55 66 03");
    EXPECT_EQ(Read(1), "lost");
    EXPECT_EQ(line.TakeWritten(), "");  // bytes without a frame are not answered
}

TEST_F(PortWithTCTest, RestoresTheReadTimeoutAfterWaitingForAnAcknowledgement) {
    port.SetReadTimeout(2100);
    line.onWrite = [this](const Bytes&) { line.Reply("06"); };
    EXPECT_TRUE(Write("41"));
    EXPECT_EQ(line.timeoutMs, 2100u);
}

TEST_F(PortWithTCTest, RefusesABlockThatNoFrameHolds) {
    EXPECT_NE(MessageOf([&] { Write(""); }).find("src/EcrComm/CommChannels/PortWithTC.cpp"),
              std::string::npos);
    const Bytes block(1021, 0x10);
    EXPECT_EQ(StatusOf([&] { port.Write(block.data(), 1021); }), ReturnCode_InternalError);
    EXPECT_NE(Catch([] { PortWithTC::Create(CommChannel_SerialPort); }), nullptr);
}
