#include "EndToEnd.h"
#include "Recording.h"
#include "Support.h"

TEST_F(EndToEndTest, KeepsNoPasswordInARecordingAndReplaysItForAny) {
    for (const char* version : {"1", "3"}) {
        Simulator ecr({"--password", "s3cret", "--frame-version", version, "--record", folder / "session.txt",
                       "--once"});
        EXPECT_EQ(
            Tavo(ecr, {"clear", "3", "/Password=s3cret", std::string("/SerialProtocolVersion=") + version})
                .status,
            0);
        ecr.Finish();
        const std::string recording = ReadText(folder / "session.txt");
        EXPECT_EQ(recording.find("73 33 63"), std::string::npos) << recording;
        EXPECT_NE(recording.find(" 0e ** 03\n"), std::string::npos) << recording;
        const Simulator replay({"--replay", folder / "session.txt"});
        EXPECT_EQ(Tavo(replay, {"clear", "3", "/Password=another one",
                                std::string("/SerialProtocolVersion=") + version})
                      .status,
                  0);
    }
}

TEST_F(EndToEndTest, ReplaysAPasswordThatWasCutShort) {
    for (const auto& [recording, sent] :
         {std::pair("0 < 02 0e **\n0 hung up\n", "02 0e 61 62"),
          {"0 < 02 0e ** 02 0e ** 03\n0 hung up\n", "02 0e 61 02 0e 61 62 03"}}) {
        Replay replay(File("cut.txt", recording));
        for (const byte value : FromHex(sent)) replay.Receive(value, 0);
        replay.HangUp();
        EXPECT_TRUE(replay.IsDone());
    }
}

TEST_F(EndToEndTest, ReplaysARecordingOfAnyLength) {
    constexpr size_t count = 100'000;
    std::string hidden;
    std::string answered;
    for (size_t i = 0; i < count; i++) {
        hidden += "0 < **\n";
        answered += "0 < 55\n0 > 06\n";
    }
    EXPECT_EQ(FailureOf([&] { const Replay bad(File("bad.txt", hidden + "0 < 2g\n")); }),
              "13 File '" + folder / "bad.txt" + "' line 100001: no line of a recording");
    Replay passwords(File("hidden.txt", hidden + "0 < 03\n0 > 06\n"));
    passwords.Receive(0x03, 0);
    passwords.Tick(0);
    EXPECT_EQ(passwords.TakeOutput(), Bytes{0x06});
    Replay exchange(File("answered.txt", answered));  // with a tool that waits for no answer
    for (size_t i = 0; i < count; i++) exchange.Receive(0x55, 0);
    while (exchange.GetDeadline() == 0) exchange.Tick(0);
    EXPECT_EQ(exchange.TakeOutput(), Bytes(count, 0x06));
}
