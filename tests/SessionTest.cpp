#include <gtest/gtest.h>

#include <tuple>

#include "AppConfig.h"
#include "Commands.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/CommChannel.h"
#include "EcrComm/EcrComm.h"
#include "EcrComm/IoStatistics.h"
#include "Support.h"
#include "System/Output.h"

/** The session over raw application frames, without transport control. */
TEST(SessionTest, WritesEachRequestAndUnderstandsEveryAnswer) {
    MemoryChannel line;
    const Bytes record = FromHex("0C 01 05");
    byte data[1024] = {};
    uint16_t field = 99;
    const auto request = [](byte section, Action action) { return [=] { SendRequest(section, action); }; };
    const auto send = [&] { SendData(record.data(), 3, field); };
    const auto take = [&] { EXPECT_EQ(ReadData(data, sizeof data), 2); };
    const auto with = [&](ProtocolID protocol, const char* set, const char* password, const auto& action) {
        return [=] {
            AppConfig::SetParameter("ProtocolSet", set, false);
            AppConfig::SetParameter("Password", password, false);
            SetProtocol(GetProtocolIDBySet(protocol));
            action();
        };
    };
    const auto ask = request(0x2A, Action_Read);
    const auto write = request(3, Action_Write);
    const auto authorize = with(Protocol_Standard, "1", "Pw", write);
    const auto fiscal = [&](const auto& action) { return with(Protocol_Fiscal, "1", "", action); };
    const auto execute = fiscal([&] { Fiscal_SendCommand(0x2A, record.data(), 3); });
    const auto status = fiscal([&] { EXPECT_EQ(Fiscal_ReadStatus(data, sizeof data), 3); });
    const auto eft = fiscal([&] { EXPECT_EQ(Fiscal_ReadEftStatus(data, sizeof data), 0); });
    const TempFolder folder;
    const auto readFile = [&] { Execute_Standard(Command_Read, 0x2A, folder / "a.csv"); };
    const auto readStatus = fiscal([&] { Execute_Fiscal(Command_ReadFiscalStatus, folder / "a.csv"); });
    const std::string read = "0B 03 00 2A 01 02";
    const std::string authorized = "0B 03 00 03 02 02 / 0E 03 00 00 50 77";
    const std::string executed = "0D 04 00 2A 0C 01 05";
    const std::string lost = " fails: 5 ECR is not responding";
    const std::string garbage = " fails: 5 Garbage received";
    const std::string unexpected = " fails: 5 Unexpected data received";
    const std::string badPassword = " fails: 11 Bad or missing password";
    // what is done, what the ECR answers, and what is sent then, and why it fails
    const std::tuple<std::function<void()>, const char*, std::string> cases[] = {
        {ask, "0B 01 00 00", read},
        {ask, "0B 01 00 01", read + " fails: 15 Unknown command"},
        {ask, "0B 01 00 02", read + " fails: 3 ECR is busy"},
        {ask, "0B 01 00 05", read + unexpected},
        {ask, "0B 01 00 06", read + " fails: 4 Command can not be executed in current context"},
        {ask, "0B 01 00 07", read + " fails: 12 ECR communications are not activated"},
        {ask, "0B 01 00 08", read + badPassword},
        {ask, "0B 00 00", read + lost},
        {request(3, Action_Clear), "0B 01 00 00", "0B 03 00 03 03 02"},
        {request(3, Action_Init), "0B 01 00 00", "0B 03 00 03 04 02"},
        {request(3, Action_Delete), "0B 01 00 00", "0B 03 00 03 05 02"},
        // refused, it is repeated once, in its short form behind the password
        {write, "0B 01 00 03  0B 01 00 03", "0B 03 00 03 02 02 / 0B 02 00 03 02" + unexpected},
        {authorize, "0B 01 00 03  0E 01 00 00  0B 01 00 00", authorized + " / 0B 02 00 03 02"},
        {authorize, "0B 01 00 03  04 01 00 08", authorized + garbage},
        {with(Protocol_Standard, "0", "Pw", write), "01 01 00 03  04 01 00 08",
         "01 03 00 03 02 02 / 04 03 00 00 50 77" + badPassword},
        {send, "0B 01 00 07", "0B 03 00 0C 01 05" + unexpected},
        {send, "0B 03 00 04 0B 41", "0B 03 00 0C 01 05"},  // it names no field
        {SendEndOfData, "", "0B 00 00"},
        {take, "0B 01 00 05  0B 01 00 05  0B 02 00 05 41", ""},
        {take, "0B 02 00 41", lost},
        {take, "0D 02 00 41 42", garbage},  // another protocol
        {take, "0B FE 03 41", garbage},     // 1022 bytes, more than a frame holds
        {[] { ReadClearStatus(); }, "0B 01 00 02", unexpected},
        {execute, "0D 01 00 05  0D 01 00 05  0D 01 00 00", executed},
        {execute, "0D 01 00 05  0D 01 00 03", executed + unexpected},
        {execute, "0D 01 00 01", executed + " fails: 15 Unknown command"},
        {execute, "0D 01 00 02", executed + " fails: 3 Incorrect keylock position"},
        {execute, "0D 01 00 04", executed + " fails: 14 Command has bad data"},
        {execute, "0D 01 00 07", executed + " fails: 12 ECR fiscal protocol is not activated"},
        {execute, "0D 01 00 08", executed + badPassword},
        {execute, "0D 01 00 05  0D 02 00 00 00", executed + garbage},  // only a bare code is an answer then
        {with(Protocol_Fiscal, "0", "", [&] { Fiscal_SendCommand(0x2A, data, 0); }), "03 01 00 00",
         "03 01 00 2A"},
        {status, "0D 04 00 00 0C 01 05", "0D 01 00 64"},
        {readStatus, "0D 02 00 00 FF", "0D 01 00 64 fails: 5 Bad status data received"},
        {readFile, "0B 01 00 00  0B 01 00 FF", read + " fails: 5 Bad record received"},
        {eft, "0D 01 00 00", "0D 01 00 20"},
        {eft, "0D 01 00 05", "0D 01 00 20" + unexpected}};
    HeldOutput silent;
    IoStatistics::Reset();
    SelectCommChannel(Lend(&line));
    for (const auto& [action, answers, outcome] : cases) {
        AppConfig::Clear();
        SetProtocol(Protocol_Standard_Set1);
        line.input.clear();
        line.Reply(answers);
        const std::string failure = FailureOf(action);
        EXPECT_EQ(line.TakeWritten() + (failure.empty() ? "" : " fails: " + failure), outcome) << answers;
    }
    EXPECT_EQ(IoStatistics::LostRespCount * 10 + IoStatistics::GarbageCount, 14);
    EXPECT_EQ(ToHex({data, data + 3}) + std::to_string(field), "0C 01 050");
    AppConfig::SetParameter("Password", std::string(1022, 'x'), false);
    EXPECT_EQ(FailureOf(AuthorizeSession).substr(0, 2), "99");
    SelectCommChannel(Lend(nullptr));
    silent.Take();
}
