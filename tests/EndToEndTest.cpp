#include "EndToEnd.h"

namespace {

std::string ManyRecords(int count, const char* lineEnd) {
    std::string text;
    for (int i = 1; i <= count; i++) text += std::to_string(i) + ",\"Article\"" + lineEnd;
    return text;
}

}  // namespace

TEST_F(EndToEndTest, SendsReadsDeletesAndClears) {
    Simulator ecr({"--wait", "3"});
    const std::string plu =
        File("plu.csv",
             "3,\"Milk \"\"fresh\"\", 1l\",1.25,0x01\n1,\"K\xf6rv\",-0.99,4750000000017\n2,\"\",0,0x00ff\n");

    RunResult run = Tavo(ecr, {"Send", "3", plu});
    EXPECT_EQ(run.output, preparing + request +
                              "Records sent: 1\rRecords sent: 2\rRecords sent: 3\rRecords sent: 3\n" + ok);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(TakeLog(), "\n\nI/O statistics : OUT frames = 5, IN frames = 4\nCompleted OK\n");

    run = Tavo(ecr, {"READ", "3", folder / "back.csv"});
    EXPECT_EQ(run.output, request + "Records read: 3\n" + ok);
    EXPECT_EQ(
        ReadText(folder / "back.csv"),
        "1,\"K\xf6rv\",-0.99,4750000000017\r\n2,\"\",0,0x00ff\r\n3,\"Milk \"\"fresh\"\", 1l\",1.25,0x01\r\n");

    run = Tavo(ecr, {"delete", "3", File("gone.csv", "1,0\n3,0\n")});
    EXPECT_EQ(run.output,
              preparing + request + "Records deleted: 1\rRecords deleted: 2\rRecords deleted: 2\n" + ok);
    EXPECT_EQ(Section(ecr, "3"), "2,\"\",0,0x00ff\r\n");

    run = Tavo(ecr, {"clear", "3"});
    EXPECT_EQ(run.output, request + "Clearing ...\r            \r" + ok);
    EXPECT_EQ(TakeLog(), "\n\nI/O statistics : OUT frames = 1, IN frames = 5\nCompleted OK\n");
    EXPECT_EQ(Section(ecr, "3"), "");

    run = Tavo(ecr, {"init", "3"});
    EXPECT_EQ(run.output, request + "Initializing ...\r                \r" + ok);
}

TEST_F(EndToEndTest, ClearsOnlyWhatWasReadAndReplacesWhatIsSent) {
    Simulator ecr;
    RunResult run = Tavo(ecr, {"ReadAndClear", "3", folder / "r.csv"});
    EXPECT_EQ(run.output, request + "Records read: 0\n" + ok);
    const std::string text = ManyRecords(12, "\r\n");
    Tavo(ecr, {"send", "3", File("a.csv", "99,\"old\"\n")});
    run = Tavo(ecr, {"ClearAndSend", "3", File("a.csv", text)});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(Section(ecr, "3"), text);
    run = Tavo(ecr, {"ReadAndClear", "3", folder / "r.csv"});
    EXPECT_EQ(run.output, request + "Records read: 10\rRecords read: 12\n" + request +
                              "Clearing ...\r            \r" + ok);
    EXPECT_EQ(ReadText(folder / "r.csv"), text);
    EXPECT_EQ(Section(ecr, "3"), "");
}

TEST_F(EndToEndTest, NeverClearsWhatItCouldNotWrite) {
    Simulator ecr;
    const std::string text = ManyRecords(3, "\r\n");
    Tavo(ecr, {"send", "3", File("a.csv", text)});
    TakeLog();
    const RunResult run = Tavo(ecr, {"ReadAndClear", "3", "/dev/full"});
    EXPECT_EQ(run.output, request + "Unable to write file '/dev/full'\n" + Failed(13));
    EXPECT_EQ(run.status, 13);
    EXPECT_EQ(Section(ecr, "3"), text);
}

TEST_F(EndToEndTest, ReportsRejectedAndBadRecordsByLine) {
    Simulator ecr({"--reject", "5:3", "--reject", "7"});
    const RunResult run =
        Tavo(ecr, {"send", "3", File("a.csv", "7,\"no\"\n5,\"bad\",1\n6,\"ok\"\n8,\"x\",\n4,,1\n")});
    EXPECT_EQ(run.output,
              preparing + request +
                  "Line 5     - Record has bad format         \n"
                  "Line 2     - Record field 3 has invalid value\n"
                  "Records sent: 1\rLine 1     - Record can not be updated     \nRecords sent: 1\r"
                  "Records sent: 2\rRecords sent: 2\n" +
                  Failed(2));
    EXPECT_EQ(TakeLog(),
              "\n\nFound 1 bad format record(s)\n2 record(s) rejected by ECR\n"
              "I/O statistics : OUT frames = 6, IN frames = 5\nCompleted with errors\n");
    EXPECT_EQ(Tavo(ecr, {"send", "3", File("a.csv", "7,\"no\"\n")}).status, 14);
    EXPECT_EQ(Section(ecr, "3"), "6,\"ok\"\r\n8,\"x\"\r\n");
}

TEST_F(EndToEndTest, CountsDuplicatesUnlessTheyAreIgnored) {
    Simulator ecr;
    const std::string file = File("a.csv", "1,\"a\"\n1,\"b\"\n");
    EXPECT_EQ(Tavo(ecr, {"send", "3", file}).status, 2);
    EXPECT_EQ(Tavo(ecr, {"send", "3", file, "/IgnoreDuplicates=1"}).status, 0);
    EXPECT_EQ(Section(ecr, "3"), "1,\"b\"\r\n");
    EXPECT_EQ(Tavo(ecr, {"send", "3", File("a.csv", "1,\"a\"\n\n")}).status, 2);
}

TEST_F(EndToEndTest, SendsSeveralRecordsBeforeItTakesTheirAnswers) {
    Simulator ecr({"--records-in-packet", "5"});
    RunResult run = Tavo(ecr, {"send", "3", File("a.csv", ManyRecords(12, "\n")), "/RecordsInPacket=5"});
    EXPECT_EQ(run.output, preparing + request +
                              "Records sent: 5\rRecords sent: 10\rRecords sent: 12\rRecords sent: 12\n" + ok);
    run = Tavo(ecr, {"send", "3", File("b.csv", ManyRecords(3, "\n")), "/RecordsInPacket=0"});
    EXPECT_EQ(run.output, preparing + request + "Records sent: 0\n" + ok);
    EXPECT_EQ(Section(ecr, "3"), ManyRecords(12, "\r\n"));
}

TEST_F(EndToEndTest, RenegotiatesWhenTheEcrGaveTheSessionUp) {
    {
        Simulator ecr({"--timeout-after", "2"});
        const RunResult run = Tavo(ecr, {"send", "3", File("a.csv", ManyRecords(5, "\n"))});
        EXPECT_EQ(run.output, preparing + request + "Records sent: 1\rRecords sent: 2\r" + request +
                                  "Records sent: 3\rRecords sent: 4\r" + request +
                                  "Records sent: 5\rRecords sent: 5\n" + ok);
        EXPECT_EQ(TakeLog().find("\n\nCommunication timeout on ECR side, renegotiating...\n"), 0u);
        EXPECT_EQ(Section(ecr, "3"), ManyRecords(5, "\r\n"));
    }
    Simulator ecr({"--timeout-after", "2", "--records-in-packet", "2"});
    const RunResult run = Tavo(ecr, {"send", "3", File("a.csv", ManyRecords(5, "\n")), "/RecordsInPacket=2"});
    EXPECT_EQ(run.output,
              preparing + request +
                  "Records sent: 2\r\nCommunication error: Unexpected data received, retry not possible\n" +
                  Failed(5));
}

TEST_F(EndToEndTest, SpeaksEveryFrameVersionAndProtocolSet) {
    for (const char* version : {"1", "2", "3"}) {
        Simulator ecr({"--version", version, "--protocol-set", "0"});
        EXPECT_EQ(Tavo(ecr, {"send", "3", File("a.csv", ManyRecords(300, "\n")), "/ProtocolSet=0"}).status,
                  0);
        EXPECT_EQ(Tavo(ecr, {"read", "3", folder / "b.csv", "/ProtocolSet=0"}).status, 0);
        EXPECT_EQ(ReadText(folder / "b.csv"), ManyRecords(300, "\r\n")) << version;
    }
}

TEST_F(EndToEndTest, GivesThePassword) {
    Simulator ecr({"--password", "Secret", "--trace"});
    EXPECT_EQ(Tavo(ecr, {"clear", "3", "/Password=Secret"}).status, 0);
    const RunResult run = Tavo(ecr, {"clear", "3", "/Password=wrong"});
    EXPECT_EQ(run.output, "\nBad or missing password\n" + Failed(11));
    EXPECT_EQ(run.status, 11);
    EXPECT_EQ(Tavo(ecr, {"clear", "3"}).status, 5);
    const std::string trace = ecr.Stop();
    for (const char* text :
         {"<- frame v3 #0: authorisation", "-> frame v3 #32: answer: ok", "answer: password wrong",
          "<- frame v3 #32: request: clear section 3", "answer: bad frame", "<- ACK", "hung up"})
        EXPECT_NE(trace.find(text), std::string::npos) << text;
}

TEST_F(EndToEndTest, PassesOnTheRefusalsOfTheEcr) {
    Simulator busy({"--busy"});
    EXPECT_EQ(Tavo(busy, {"clear", "3"}).output, "Sending operation request...\r\nECR is busy\n" + Failed(3));
    Simulator inactive({"--not-activated"});
    EXPECT_EQ(Tavo(inactive, {"clear", "3"}).output,
              "Sending operation request...\r\nECR communications are not activated\n" + Failed(12));
}

TEST_F(EndToEndTest, RepeatsTheCommandWhenTheEcrDoesNotAnswer) {
    Simulator ecr({"--protocol-set", "0"});  // acknowledges what it does not answer
    const RunResult run =
        Tavo(ecr, {"clear", "3", "/RetryCount=2", "/EcrOperationMaxTime=100", "/SerialProtocolRetryCount=1"});
    EXPECT_EQ(run.output, notResponding + notResponding + Failed(5));
    EXPECT_EQ(TakeLog(),
              "\n\nI/O statistics : OUT frames = 1, IN frames = 0, LOST = 1\nECR is not responding\n"
              "I/O statistics : OUT frames = 2, IN frames = 0, LOST = 2\nECR is not responding\nCompleted "
              "with errors\n");
}

TEST_F(EndToEndTest, EndsEveryFailureBeforeTheLineWithItsOwnStatus) {
    const struct {
        std::vector<std::string> words;
        std::string output;
        int status;
    } cases[] = {
        {{"clear", "3", "/IpAddress=a", "/ComNumber=b"},
         "Configuration error: Both serial port and ethernet settings are specified\n",
         10},
        {{"clear", "3", "/IpAddress=a"}, "Internal error\n", 99},
        {{"clear", "3", "/IpAddress=a", "/WithTC=1"}, "Internal error\n", 99},
        {{"clear", "3", "/StandardLog=-1"}, "Internal error\n", 99},
        {{"clear", "3", "/ProtocolSet=7"}, "Configuration error: Invalid ProtocolSet parameter\n", 10},
        {{"clear", "3"}, "Configuration error: Bad or missing tty name\n", 10},
        {{"clear", "3", "/TTY=none"}, "System error: Unable to open serial port\n", 50},
        {{"runserver", "/ServerPortFrom=1"}, "", 99},
        {{"executeserver", "2", "/TTY=none"}, "System error: Unable to open serial port\n", 50}};
    for (const auto& c : cases) {
        const RunResult run = Tavo(c.words);
        EXPECT_EQ(run.output, c.output + Failed(c.status)) << c.words.back();
        EXPECT_EQ(run.status, c.status);
    }
    Simulator ecr;
    EXPECT_EQ(Tavo(ecr, {"executeserver", "2"}).output, Failed(15));
    EXPECT_EQ(Tavo(ecr, {"executeserver", "1"}).output,
              "\nDisconnectFromServer command not supported\n" + Failed(99));
    TakeLog();
    EXPECT_EQ(Tavo(ecr, {"send", "3", folder / "none.csv"}).output,
              "Unable to open file '" + folder / "none.csv" + "'\n" + Failed(13));
    EXPECT_EQ(TakeLog(), "\n\nI/O statistics : OUT frames = 0, IN frames = 0\nUnable to open file '" +
                             folder / "none.csv" + "'\nCompleted with errors\n");
}

TEST_F(EndToEndTest, ReportsACommandLineErrorWithoutALog) {
    const RunResult run = Tavo({"reed", "3", "x"});
    EXPECT_EQ(run.output, "Unknown command (use /? for help)\n" + Failed(1));
    EXPECT_EQ(ReadText(folder / "log/TAVO.log"), "");
    const RunResult usage = RunProgram({TAVO_PROGRAM, "-?"});
    EXPECT_EQ(usage.output.find("Data exchange tool for ZEL ECRs.\n\n\nVersion 3.3.3 (Compiled: "), 0u);
    EXPECT_NE(
        usage.output.find("  TAVO.EXE command data [filename] [parameters]\n\n\n  command      - Read,"),
        std::string::npos);
    EXPECT_EQ(RunProgram({TAVO_PROGRAM}).status, 0);
}

TEST_F(EndToEndTest, LogsALongCommandLineWholeAndTakesSettingsFromTheIniFile) {
    Simulator ecr;
    ini = File("TAVO.ini", "[Common]\nStandardLog=1\n[ECR_Till]\nTTY=" + ecr.Tty() + "\n");
    const std::string longValue(4000, 'x');
    EXPECT_EQ(Tavo({"clear", "3", "/Note=" + longValue}).status, 0);
    EXPECT_NE(ReadText(folder / "log/TAVO.log").find(" clear 3 /Note=" + longValue + " "), std::string::npos);
}

TEST_F(EndToEndTest, CarriesRawRecordsAndKeepsSectionsBetweenRuns) {
    std::string raw;
    for (int i = 0; i < 130; i++) raw += static_cast<char>(i);
    {
        Simulator ecr({"--data", folder / "register"});
        EXPECT_EQ(Tavo(ecr, {"send", "195", File("a.dat", raw)}).output,
                  request + "Records sent: 1\rRecords sent: 2\rRecords sent: 3\rRecords sent: 3\n" + ok);
    }
    Simulator ecr({"--data", folder / "register", "--once"});
    EXPECT_EQ(Tavo(ecr, {"read", "195", folder / "b.dat"}).status, 0);
    EXPECT_EQ(ReadText(folder / "b.dat"), raw);
    EXPECT_EQ(ecr.GetProcess().Finish().status, 0);  // ended by itself when the tool hung up
}

TEST_F(EndToEndTest, TouchesNoTerminalSettingsWhileRecordsAreExchanged) {
    Simulator ecr;
    const auto calls = [&](int records) {
        const std::string trace = folder / "trace";
        const RunResult run =
            RunProgram({"/usr/bin/strace", "-f", "-o", trace, "-e", "trace=ioctl", TAVO_PROGRAM, "send", "3",
                        File("a.csv", ManyRecords(records, "\n")), "/TTY=" + ecr.Tty(),
                        "/LogFilePath=" + folder / "log", "/ConfigFilePath=" + ini});
        EXPECT_NE(run.output.find("Completed OK"), std::string::npos) << run.output;
        const std::string text = ReadText(trace);
        const std::regex settings("TCGETS|TCSETS|TIOC");
        return std::distance(std::sregex_iterator(text.begin(), text.end(), settings),
                             std::sregex_iterator());
    };
    EXPECT_GT(calls(1), 0);
    EXPECT_EQ(calls(1), calls(40));
}

TEST(SimulatorTest, RefusesBadOptionsWithStatusTwo) {
    const struct {
        std::vector<std::string> options;
        const char* message;
    } cases[] = {
        {{"--bad"}, "ecrsim: unknown option --bad (use --help)\n"},
        {{"--wait"}, "ecrsim: --wait needs an argument: N (use --help)\n"},
        {{"--version", "4"}, "ecrsim: --version: '4' is no number from 1 to 3 (use --help)\n"},
        {{"--reject", "x:1"}, "ecrsim: --reject: 'x' is no number from 0 to 2147483647 (use --help)\n"}};
    for (const auto& c : cases) {
        std::vector<std::string> arguments{ECRSIM_PROGRAM};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const RunResult run = RunProgram(arguments);
        EXPECT_EQ(run.output, c.message);
        EXPECT_EQ(run.status, 2);
    }
    const RunResult help = RunProgram({ECRSIM_PROGRAM, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.output.find("Example:"), std::string::npos);
}
