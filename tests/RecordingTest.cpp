#include <gtest/gtest.h>

#include "EndToEnd.h"
#include "Link.h"

namespace {

/** ecrsim's recordings of a session, and their replay. */
class RecordingTest : public EndToEndTest {
protected:
    const std::string recording = folder / "session.txt";
    const std::string records = File("a.csv", "1,\"a\"\n2,\"b\",1.5\n3,\"c\"\n");
};

}  // namespace

TEST_F(RecordingTest, ReplaysASessionWithItsFaults) {
    std::vector<std::string> outputs;
    Simulator ecr({"--record", recording, "--fault", "drop=0.02,flip=0.02", "--seed", "5"});
    const std::vector<std::string> send{"Send",
                                        "3",
                                        records,
                                        "/SerialProtocolResponseMaxTime=100",
                                        "/SerialProtocolRetryCount=3",
                                        "/EcrOperationMaxTime=300"};
    const std::vector<std::string> read{"Read", "3", folder / "b.csv"};
    for (const auto& command : {send, read}) outputs.push_back(Tavo(ecr, command).output);
    ecr.Stop();
    const std::string text = ReadText(recording);
    const std::regex line(R"((\d+\.\d{6} ([<>]( [0-9a-f]{2})+|hung up)|    .*)\n)");
    EXPECT_EQ(std::regex_replace(text, line, ""), "") << text;
    EXPECT_NE(text.find("\n    -> NAK\n"), std::string::npos) << "no fault to replay\n" << text;
    EXPECT_NE(text.find(": request: read section 3\n"), std::string::npos) << text;

    Simulator replay({"--replay", recording});
    for (size_t i = 0; i < outputs.size(); i++)
        EXPECT_EQ(Tavo(replay, i == 0 ? send : read).output, outputs[i]);
    EXPECT_EQ(replay.Finish().status, 0);
}

TEST_F(RecordingTest, TellsWhereTheToolDepartsFromTheRecording) {
    // answers a Clear: acknowledgement and "ok", then "ok" once more
    WriteText(recording,
              "0.0 < 02 00 0b 10 a3 00 10 a3 10 a3 10 a2 0a 1c 03\n    the request\n0.0 > 06 02 20 0b 01 00 "
              "00 2a 30 03\n"
              "0.1 < 06\n0.1 > 02 21 0b 01 00 00 2b 31 03\n0.1 < 06\n0.2 hung up\n");
    {
        Simulator replay({"--replay", recording});
        EXPECT_EQ(Tavo(replay, {"clear", "3"}).status, 0);
        EXPECT_EQ(replay.Finish().status, 0);
    }
    Simulator replay({"--replay", recording});
    Tavo(replay, {"clear", "4", "/SerialProtocolRetryCount=1", "/SerialProtocolResponseMaxTime=100"});
    const RunResult result = replay.Finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "ecrsim: '" + recording +
                                 "': at line 1 the tool departs from the recording: byte 7 is 04, not 10\n");
    for (const char* bad :
         {"0.1 < 100\n", "0.1 < zz\n", "0.1 > \n", "x > 06\n", "0.1 hung\n", "1.0 < 06\n0.5 < 06\n"}) {
        WriteText(recording, bad);
        const RunResult refused = RunProgram({ECRSIM_PROGRAM, "--replay", recording});
        EXPECT_EQ(refused.status, 1) << bad;
        EXPECT_NE(refused.output.find(": no line of a recording\n"), std::string::npos) << refused.output;
    }
    WriteText(recording, "    only a comment\r\n");
    EXPECT_EQ(RunProgram({ECRSIM_PROGRAM, "--replay", recording}).output,
              "ecrsim: File '" + recording + "' has no line of a recording\n");
    EXPECT_EQ(RunProgram({ECRSIM_PROGRAM, "--replay", recording, "--trace"}).status, 2);
}

TEST_F(RecordingTest, EndsARunThatReceivesARecordThatCannotBeConverted) {
    const auto frame = [](const std::string& payload, byte seqNo) {
        return ToHex(BuildFrame(3, FromHex(payload), seqNo));
    };
    const struct {
        std::vector<std::string> command;
        std::string session;
        const char* message;
    } cases[] = {
        {{"Read", "3", folder / "b.csv"},
         "0.0 < " + frame("0B 03 00 03 01 02", 0) + "\n0.0 > 06 " + frame("0B 01 00 00", 32) +
             "\n0.0 < 06\n0.0 > " + frame("0B 01 00 FF", 33) + "\n0.0 < 06\n",
         "Bad record received"},
        {{"ReadFiscalStatus", folder / "b.csv"},
         "0.0 < " + frame("0D 01 00 64", 0) + "\n0.0 > 06 " + frame("0D 02 00 00 FF", 32) + "\n0.0 < 06\n",
         "Bad status data received"}};
    for (const auto& c : cases) {
        WriteText(recording, c.session + "0.0 hung up\n");
        Simulator replay({"--replay", recording});
        const RunResult run = Tavo(replay, c.command);
        EXPECT_EQ(run.status, 5) << run.output;
        EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
        EXPECT_EQ(replay.Finish().status, 0);
    }
}

TEST(LinkTest, TakesARepeatedFirstRequestForANewSessionOnceItsAnswerWasAcknowledged) {
    Options options;
    Register ecr(options);
    const Trace silent(false);
    Link link(options, ecr, silent);
    const auto exchange = [&](const std::string& hex) {
        for (const byte value : FromHex(hex)) link.Receive(value, 0);
        return ToHex(link.TakeOutput());
    };
    const std::string request = "02 00 0b 10 a3 00 10 a3 01 10 a2 08 1a 03";  // read section 3
    const std::string answer = "02 20 0B 01 00 00 2A 30 03";
    EXPECT_EQ(exchange(request), "06 " + answer);
    EXPECT_EQ(exchange(request), "06");  // the answer is still on its way
    EXPECT_EQ(exchange("06"), "02 21 0B 00 00 2A 2F 03");
    EXPECT_EQ(exchange(request), "06 " + answer);
}
