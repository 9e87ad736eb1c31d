#include <gtest/gtest.h>

#include "AppConfig.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/IoStatistics.h"
#include "Support.h"

namespace {

/** The session over raw application frames, without transport control. */
class SessionTest : public testing::Test {
protected:
    void SetUp() override {
        AppConfig::Clear();
        IoStatistics::Reset();
        SelectCommChannel(line.Lend());
        SetProtocol(Protocol_Standard_Set1);
    }
    void TearDown() override {
        SelectCommChannel(ChannelOwner(nullptr, [](ICommChannel*) {}));
    }

    /** Status and log message that the action fails with; "" when it succeeds. */
    static std::string FailureOf(const std::function<void()>& action) {
        const std::unique_ptr<Exception> e = Catch(action);
        return e ? std::to_string(e->GetReturnCode()) + " " + e->GetLogMessage() : "";
    }

    MemoryChannel line;
};

std::string Hex2(int value) { return ToHex({static_cast<byte>(value)}); }

}  // namespace

TEST_F(SessionTest, SendsARequestAndMapsEveryAnswer) {
    const char* failures[] = {"",
                              "15 Unknown command",
                              "3 ECR is busy",
                              nullptr,
                              "5 Unexpected data received",
                              "5 Unexpected data received",
                              "4 Command can not be executed in current context",
                              "12 ECR communications are not activated",
                              "11 Bad or missing password",
                              "5 Unexpected data received"};
    for (int code = 0; code < 10; code++) {
        if (failures[code] == nullptr) continue;
        line.Reply("0B 01 00 " + Hex2(code));
        EXPECT_EQ(FailureOf([] { SendRequest(0x2A, Action_Read); }), failures[code]);
        EXPECT_EQ(line.TakeWritten(), "0B 03 00 2A 01 02");
    }
}

TEST_F(SessionTest, AuthorisesAndRepeatsARefusedRequestInItsShortForm) {
    AppConfig::SetParameter("Password", "Pw", false);
    line.Reply("0B 01 00 03  0E 01 00 00  0B 01 00 00");
    EXPECT_EQ(FailureOf([] { SendRequest(3, Action_Write); }), "");
    EXPECT_EQ(line.TakeWritten(), "0B 03 00 03 02 02 / 0E 03 00 00 50 77 / 0B 02 00 03 02");

    line.Reply("0B 01 00 03  0E 01 00 08");
    EXPECT_EQ(FailureOf([] { SendRequest(3, Action_Write); }), "11 Bad or missing password");
}

TEST_F(SessionTest, RepeatsARefusedRequestOnceWithoutAPassword) {
    line.Reply("0B 01 00 03  0B 01 00 03");
    EXPECT_EQ(FailureOf([] { SendRequest(3, Action_Write); }), "5 Unexpected data received");
    EXPECT_EQ(line.TakeWritten(), "0B 03 00 03 02 02 / 0B 02 00 03 02");
}

TEST_F(SessionTest, UsesThePlainIdentifiersOfSetZero) {
    AppConfig::SetParameter("ProtocolSet", "0", false);
    EXPECT_EQ(GetProtocolIDBySet(Protocol_Standard), Protocol_Standard);
    AppConfig::SetParameter("ProtocolSet", "2", false);
    EXPECT_EQ(FailureOf([] { GetProtocolIDBySet(Protocol_Standard); }), "10 Invalid ProtocolSet parameter");
    AppConfig::SetParameter("ProtocolSet", "1", false);
    EXPECT_EQ(GetProtocolIDBySet(Protocol_ServerControl), Protocol_ServerControl);
    EXPECT_EQ(GetProtocolIDBySet(Protocol_Fiscal), Protocol_Fiscal_Set1);
}

TEST_F(SessionTest, TakesTheVerdictOnARecord) {
    const struct {
        const char* answer;
        SendResult result;
        int field;
    } cases[] = {{"0B 01 00 00", SendResult_OK, 0},
                 {"0B 01 00 02", SendResult_CanNotUpdate, 0},
                 {"0B 01 00 04", SendResult_BadData, 0},
                 {"0B 04 00 04 0C 01 03", SendResult_BadData, 4},
                 {"0B 03 00 04 0B 41", SendResult_BadData, 0}};
    for (const auto& c : cases) {
        line.Reply(c.answer);
        uint16_t field = 99;
        EXPECT_EQ(SendData(FromHex("0C 01 05").data(), 3, field), c.result) << c.answer;
        EXPECT_EQ(field, c.field) << c.answer;
        EXPECT_EQ(line.TakeWritten(), "0B 03 00 0C 01 05");
    }
    uint16_t field = 0;
    line.Reply("0B 01 00 01");
    EXPECT_EQ(FailureOf([&] { EndSendData(field); }), "4 ECR does not waiting transmitted command");
    line.Reply("0B 00 00");
    EXPECT_EQ(FailureOf([&] { EndSendData(field); }), "5 ECR is not responding");
    line.Reply("0B 01 00 07");
    EXPECT_EQ(FailureOf([&] { EndSendData(field); }), "5 Unexpected data received");
}

TEST_F(SessionTest, WaitsWhileReadingAndEndsOnAnEmptyFrame) {
    byte record[1024];
    line.Reply("0B 01 00 05  0B 01 00 05  0B 02 00 05 41  0B 00 00");
    EXPECT_EQ(ReadData(record, sizeof record), 2);
    EXPECT_EQ(ToHex(record, 2), "05 41");
    EXPECT_EQ(ReadData(record, sizeof record), 0);
    EXPECT_EQ(FailureOf([&] { ReadData(record, sizeof record); }), "5 ECR is not responding");
    SendEndOfData();
    EXPECT_EQ(line.TakeWritten(), "0B 00 00");
}

TEST_F(SessionTest, PollsAClear) {
    line.Reply("0B 01 00 05  0B 01 00 00  0B 01 00 02  0B 00 00");
    EXPECT_FALSE(ReadClearStatus());
    EXPECT_TRUE(ReadClearStatus());
    EXPECT_EQ(FailureOf([] { ReadClearStatus(); }), "5 Unexpected data received");
    EXPECT_EQ(FailureOf([] { ReadClearStatus(); }), "5 ECR is not responding");
}

TEST_F(SessionTest, ExecutesAFiscalCommandAndMapsEveryAnswer) {
    SetProtocol(Protocol_Fiscal_Set1);
    const char* failures[] = {"",
                              "15 Unknown command",
                              "3 Incorrect keylock position",
                              "5 Unexpected data received",
                              "14 Command has bad data",
                              nullptr,
                              "4 Command failed or can not be executed in current context",
                              "12 ECR fiscal protocol is not activated",
                              "11 Bad or missing password",
                              "5 Unexpected data received"};
    const Bytes data = FromHex("0C 01 05");
    for (int code = 0; code < 10; code++) {
        if (failures[code] == nullptr) continue;
        line.Reply("0D 01 00 05  0D 01 00 05  0D 01 00 " + Hex2(code));
        EXPECT_EQ(FailureOf([&] { Fiscal_SendCommand(0x2A, data.data(), 3); }), failures[code]);
        EXPECT_EQ(line.TakeWritten(), "0D 04 00 2A 0C 01 05");
    }
    line.Reply("0D 01 00 05  0D 02 00 00 00");  // after a wait only a bare code is an answer
    EXPECT_EQ(FailureOf([&] { Fiscal_SendCommand(0x2A, data.data(), 0); }), "5 Garbage received");
    line.input.clear();
    line.Reply("0D 01 00 05");
    EXPECT_EQ(FailureOf([&] { Fiscal_SendCommand(0x2A, data.data(), 0); }), "5 ECR is not responding");
}

TEST_F(SessionTest, ReadsTheStatusRecords) {
    SetProtocol(Protocol_Fiscal_Set1);
    byte status[1024];
    line.Reply("0D 04 00 00 0C 01 05");
    EXPECT_EQ(Fiscal_ReadStatus(status, sizeof status), 3);
    EXPECT_EQ(ToHex(status, 3), "0C 01 05");
    line.Reply("0D 01 00 00");
    EXPECT_EQ(Fiscal_ReadEftStatus(status, sizeof status), 0);
    EXPECT_EQ(line.TakeWritten(), "0D 01 00 64 / 0D 01 00 20");
    line.Reply("0D 01 00 05  0D 01 00 08");
    EXPECT_EQ(FailureOf([&] { Fiscal_ReadStatus(status, sizeof status); }), "5 Unexpected data received");
    EXPECT_EQ(FailureOf([&] { Fiscal_ReadStatus(status, sizeof status); }), "11 Bad or missing password");
}

TEST_F(SessionTest, CountsLostFramesAndGarbage) {
    byte data[1024];
    const auto read = [&](const std::string& frame, uint16_t expected) {
        line.input.clear();
        line.Reply(frame);
        uint16_t length = expected;
        return ReadFrame(data, sizeof data, length);
    };
    EXPECT_EQ(read("0B 02 00 41 42", 0), CommResult_OK);
    EXPECT_EQ(read("0B 02 00 41", 0), CommResult_ResponseLost);
    EXPECT_EQ(read("0D 01 00 41", 0), CommResult_Garbage);     // another protocol
    EXPECT_EQ(read("0B 02 00 41 42", 1), CommResult_Garbage);  // another length
    EXPECT_EQ(read("0B FE 03 41", 0), CommResult_Garbage);     // 1022 bytes, more than a frame holds
    EXPECT_EQ(line.input.size(), 1u);
    EXPECT_EQ(read("0B FE 03", 1022), CommResult_Error);
    EXPECT_EQ(IoStatistics::FramesReceived, 3);
    EXPECT_EQ(IoStatistics::LostRespCount, 1);
    EXPECT_EQ(IoStatistics::GarbageCount, 3);

    uint16_t length = 0;
    line.input.clear();
    line.Reply("0B 02 00 41 42");
    EXPECT_EQ(ReadFrame(data, 1, length), CommResult_OK);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(StatusOf([&] { SendFrame(data, 1022); }), ReturnCode_InternalError);
}

TEST_F(SessionTest, SelectsNoChannelForAnUnknownType) {
    EXPECT_NE(Catch([] { SelectCommChannel(static_cast<CommChannelType>(4)); }), nullptr);
    CommChannel_Close();  // without a channel
    SelectCommChannel(CommChannel_Ethernet);
    EXPECT_NE(MessageOf([] { CommChannel_Open(); }).find("src/EcrComm/CommChannels/Linux/TCP.cpp"),
              std::string::npos);
}
