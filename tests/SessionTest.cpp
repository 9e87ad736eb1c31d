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
    SessionTest() {
        AppConfig::Clear();
        IoStatistics::Reset();
        SelectCommChannel(Lend(&line));
        SetProtocol(Protocol_Standard_Set1);
    }
    ~SessionTest() override { SelectCommChannel(Lend(nullptr)); }

    /** The frames that the action sends when the ECR sends these, and how it fails. */
    std::string Exchange(const std::string& answers, const std::function<void()>& action) {
        line.input.clear();
        line.Reply(answers);
        const std::string failure = FailureOf(action);
        return line.TakeWritten() + (failure.empty() ? "" : " fails: " + failure);
    }

    MemoryChannel line;
    const Bytes record = FromHex("0C 01 05");
    byte data[1024] = {};
};

}  // namespace

TEST_F(SessionTest, SendsARequestAndMapsEveryAnswer) {
    const auto request = [] { SendRequest(0x2A, Action_Read); };
    const std::string fails = "0B 03 00 2A 01 02 fails: ";
    const std::string unexpected = fails + "5 Unexpected data received";
    EXPECT_EQ(Exchange("0B 01 00 00", request), "0B 03 00 2A 01 02");
    EXPECT_EQ(Exchange("0B 01 00 01", request), fails + "15 Unknown command");
    EXPECT_EQ(Exchange("0B 01 00 02", request), fails + "3 ECR is busy");
    for (const char* code : {"04", "05", "09"})
        EXPECT_EQ(Exchange(std::string("0B 01 00 ") + code, request), unexpected) << code;
    EXPECT_EQ(Exchange("0B 01 00 06", request), fails + "4 Command can not be executed in current context");
    EXPECT_EQ(Exchange("0B 01 00 07", request), fails + "12 ECR communications are not activated");
    EXPECT_EQ(Exchange("0B 01 00 08", request), fails + "11 Bad or missing password");
    EXPECT_EQ(Exchange("0B 00 00", request), fails + "5 ECR is not responding");
}

TEST_F(SessionTest, RepeatsARefusedRequestOnceInItsShortFormBehindThePassword) {
    const auto request = [] { SendRequest(3, Action_Write); };
    EXPECT_EQ(Exchange("0B 01 00 03  0B 01 00 03", request),
              "0B 03 00 03 02 02 / 0B 02 00 03 02 fails: 5 Unexpected data received");
    AppConfig::SetParameter("Password", "Pw", false);
    EXPECT_EQ(Exchange("0B 01 00 03  0E 01 00 00  0B 01 00 00", request),
              "0B 03 00 03 02 02 / 0E 03 00 00 50 77 / 0B 02 00 03 02");
    EXPECT_EQ(Exchange("0B 01 00 03  04 01 00 08", request),
              "0B 03 00 03 02 02 / 0E 03 00 00 50 77 fails: 5 Garbage received");
    AppConfig::SetParameter("ProtocolSet", "0", false);
    SetProtocol(GetProtocolIDBySet(Protocol_Standard));
    EXPECT_EQ(Exchange("01 01 00 03  04 01 00 08", request),
              "01 03 00 03 02 02 / 04 03 00 00 50 77 fails: 11 Bad or missing password");
    SetProtocol(GetProtocolIDBySet(Protocol_Fiscal));
    EXPECT_EQ(Exchange("03 01 00 00", [&] { Fiscal_SendCommand(0x2A, data, 0); }), "03 01 00 2A");
    AppConfig::SetParameter("Password", std::string(1022, 'x'), false);
    EXPECT_EQ(FailureOf(AuthorizeSession).substr(0, 2), "99");
}

TEST_F(SessionTest, SendsRecordsAndWaitsForRecordsAndForAClear) {
    uint16_t field = 99;
    const auto send = [&] { SendData(record.data(), 3, field); };
    EXPECT_EQ(Exchange("0B 04 00 04 0C 01 03", send), "0B 03 00 0C 01 05");
    EXPECT_EQ(field, 4);
    EXPECT_EQ(Exchange("0B 03 00 04 0B 41", send), "0B 03 00 0C 01 05");
    EXPECT_EQ(field, 0);
    EXPECT_EQ(Exchange("0B 01 00 07", send), "0B 03 00 0C 01 05 fails: 5 Unexpected data received");
    EXPECT_EQ(Exchange("", SendEndOfData), "0B 00 00");
    const auto read = [&] { EXPECT_EQ(ReadData(data, sizeof data), 2); };
    EXPECT_EQ(Exchange("0B 01 00 05  0B 01 00 05  0B 02 00 05 41", read), "");
    EXPECT_EQ(Exchange("", read), " fails: 5 ECR is not responding");
    EXPECT_EQ(Exchange("0B 01 00 02", [] { ReadClearStatus(); }), " fails: 5 Unexpected data received");
}

TEST_F(SessionTest, ExecutesFiscalCommandsAndReadsTheStatusRecords) {
    SetProtocol(Protocol_Fiscal_Set1);
    const auto execute = [&] { Fiscal_SendCommand(0x2A, record.data(), 3); };
    EXPECT_EQ(Exchange("0D 01 00 05  0D 01 00 05  0D 01 00 00", execute), "0D 04 00 2A 0C 01 05");
    EXPECT_EQ(Exchange("0D 01 00 05  0D 01 00 09", execute),
              "0D 04 00 2A 0C 01 05 fails: 5 Unexpected data received");
    // after a wait only a bare code is an answer
    EXPECT_EQ(Exchange("0D 01 00 05  0D 02 00 00 00", execute),
              "0D 04 00 2A 0C 01 05 fails: 5 Garbage received");
    EXPECT_EQ(Exchange("0D 04 00 00 0C 01 05", [&] { EXPECT_EQ(Fiscal_ReadStatus(data, sizeof data), 3); }),
              "0D 01 00 64");
    EXPECT_EQ(ToHex({data, data + 3}), "0C 01 05");
    const auto readEft = [&] { EXPECT_EQ(Fiscal_ReadEftStatus(data, sizeof data), 0); };
    EXPECT_EQ(Exchange("0D 01 00 00", readEft), "0D 01 00 20");
    EXPECT_EQ(Exchange("0D 01 00 05", readEft), "0D 01 00 20 fails: 5 Unexpected data received");
}

TEST_F(SessionTest, CountsLostFramesAndGarbage) {
    const struct {
        const char* frame;
        uint16_t expected;
        CommResult result;
    } cases[] = {{"0B 02 00 41 42", 0, CommResult_OK},      {"0B 02 00 41", 0, CommResult_ResponseLost},
                 {"0D 01 00 41", 0, CommResult_Garbage},  // another protocol
                 {"0B 02 00 41 42", 1, CommResult_Garbage}, {"0B FE 03", 1022, CommResult_Error},
                 {"0B FE 03 41", 0, CommResult_Garbage}};  // 1022 bytes, more than a frame holds
    for (const auto& c : cases) {
        uint16_t length = c.expected;
        line.input.clear();
        line.Reply(c.frame);
        EXPECT_EQ(ReadFrame(data, sizeof data, length), c.result) << c.frame;
    }
    EXPECT_EQ(line.input.size(), 1u);
    EXPECT_EQ(IoStatistics::FramesReceived, 3);
    EXPECT_EQ(IoStatistics::LostRespCount * 10 + IoStatistics::GarbageCount, 13);
    EXPECT_EQ(FailureOf([&] { SendFrame(data, 1022); }).substr(0, 2), "99");
    EXPECT_EQ(FailureOf([] { SelectCommChannel(static_cast<CommChannelType>(4)); }).substr(0, 2), "99");
}
