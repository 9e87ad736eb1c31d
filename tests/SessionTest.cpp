#include <gtest/gtest.h>

#include "AppConfig.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/IoStatistics.h"
#include "Format.h"
#include "Support.h"

namespace {

/** The session over raw application frames, without transport control. */
class SessionTest : public testing::Test {
protected:
    SessionTest() {
        AppConfig::Clear();
        IoStatistics::Reset();
        SelectCommChannel(line.Lend());
        SetProtocol(Protocol_Standard_Set1);
    }
    ~SessionTest() override {
        SelectCommChannel(ChannelOwner(nullptr, [](ICommChannel*) {}));
    }

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
    const char* failures[] = {"",
                              " fails: 15 Unknown command",
                              " fails: 3 ECR is busy",
                              nullptr,
                              " fails: 5 Unexpected data received",
                              " fails: 5 Unexpected data received",
                              " fails: 4 Command can not be executed in current context",
                              " fails: 12 ECR communications are not activated",
                              " fails: 11 Bad or missing password",
                              " fails: 5 Unexpected data received"};
    for (int code = 0; code < 10; code++) {
        if (failures[code] == nullptr) continue;
        EXPECT_EQ(Exchange(Format("0B 01 00 %02X", code), [] { SendRequest(0x2A, Action_Read); }),
                  std::string("0B 03 00 2A 01 02") + failures[code]);
    }
    EXPECT_EQ(Exchange("0B 00 00", [] { SendRequest(0x2A, Action_Read); }),
              "0B 03 00 2A 01 02 fails: 5 ECR is not responding");
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
    uint16_t field = 99;
    for (const auto& c : cases) {
        EXPECT_EQ(Exchange(c.answer, [&] { EXPECT_EQ(SendData(record.data(), 3, field), c.result); }),
                  "0B 03 00 0C 01 05");
        EXPECT_EQ(field, c.field) << c.answer;
    }
    const auto end = [&] { EndSendData(field); };
    EXPECT_EQ(Exchange("0B 01 00 01", end), " fails: 4 ECR does not waiting transmitted command");
    EXPECT_EQ(Exchange("0B 01 00 07", end), " fails: 5 Unexpected data received");
    EXPECT_EQ(Exchange("", SendEndOfData), "0B 00 00");
}

TEST_F(SessionTest, WaitsForRecordsAndForAClear) {
    const auto read = [&] { EXPECT_EQ(ReadData(data, sizeof data), 2); };
    EXPECT_EQ(Exchange("0B 01 00 05  0B 01 00 05  0B 02 00 05 41", read), "");
    EXPECT_EQ(Exchange("0B 00 00", [&] { EXPECT_EQ(ReadData(data, sizeof data), 0); }), "");
    EXPECT_EQ(Exchange("", read), " fails: 5 ECR is not responding");
    EXPECT_EQ(Exchange("0B 01 00 05", [] { EXPECT_FALSE(ReadClearStatus()); }), "");
    EXPECT_EQ(Exchange("0B 01 00 00", [] { EXPECT_TRUE(ReadClearStatus()); }), "");
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
    const auto read = [&](const std::string& frame, uint16_t expected) {
        line.input.clear();
        line.Reply(frame);
        return ReadFrame(data, sizeof data, expected);
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
    EXPECT_EQ(FailureOf([&] { SendFrame(data, 1022); }).substr(0, 2), "99");
}

TEST_F(SessionTest, SelectsNoChannelForAnUnknownType) {
    EXPECT_EQ(FailureOf([] { SelectCommChannel(static_cast<CommChannelType>(4)); }).substr(0, 2), "99");
    CommChannel_Close();  // without a channel
}
