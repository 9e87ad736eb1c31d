#include <fstream>
#include <tuple>

#include "EndToEnd.h"

TEST_F(EndToEndTest, SendsReadsDeletesAndClears) {
    const Simulator ecr({"--wait", "3"});
    File("plu.csv",
         "3,\"Milk \"\"fresh\"\", 1l\",1.25,0x01\n1,\"K\xf6rv\",-0.99,4750000000017\n2,\"\",0,0x00ff\n");
    EXPECT_EQ(
        Tavo(ecr, {"Send", "3", folder / "plu.csv"}).output,
        preparing + request + "Records sent: 1\rRecords sent: 2\rRecords sent: 3\rRecords sent: 3\n" + ok);
    EXPECT_EQ(TakeLog(), "\n\nI/O statistics : OUT frames = 5, IN frames = 4\nCompleted OK\n");
    EXPECT_EQ(Tavo(ecr, {"READ", "3", folder / "back.csv"}).output, request + "Records read: 3\n" + ok);
    EXPECT_EQ(
        ReadText(folder / "back.csv"),
        "1,\"K\xf6rv\",-0.99,4750000000017\r\n2,\"\",0,0x00ff\r\n3,\"Milk \"\"fresh\"\", 1l\",1.25,0x01\r\n");
    EXPECT_EQ(Tavo(ecr, {"delete", "3", File("gone.csv", "1,0\n3,0\n")}).output,
              preparing + request + "Records deleted: 1\rRecords deleted: 2\rRecords deleted: 2\n" + ok);
    EXPECT_EQ(Section(ecr, "3"), "2,\"\",0,0x00ff\r\n");
    EXPECT_EQ(Tavo(ecr, {"clear", "3"}).output, request + "Clearing ...\r            \r" + ok);
    EXPECT_EQ(TakeLog(), "\n\nI/O statistics : OUT frames = 1, IN frames = 5\nCompleted OK\n");
    EXPECT_EQ(Section(ecr, "3"), "");
    EXPECT_EQ(Tavo(ecr, {"init", "3"}).output, request + "Initializing ...\r                \r" + ok);
}

TEST_F(EndToEndTest, ClearsOnlyWhatIsInTheFileAndReplacesWhatIsSent) {
    const Simulator ecr;
    const std::string text = ManyRecords(12, "\r\n");
    EXPECT_EQ(Output(ecr, {"ReadAndClear", "3", folder / "r.csv"}), "Records read: 0\n" + ok);
    Tavo(ecr, {"send", "3", File("a.csv", "99,\"old\"\n")});
    EXPECT_EQ(Tavo(ecr, {"ClearAndSend", "3", File("a.csv", text)}).status, 0);
    EXPECT_EQ(Output(ecr, {"ReadAndClear", "3", "/dev/full"}),
              "Unable to write file '/dev/full'\n" + Failed(13));
    EXPECT_EQ(Section(ecr, "3"), text);
    EXPECT_EQ(Output(ecr, {"ReadAndClear", "3", folder / "r.csv"}), "Records read: 12\n" + ok);
    EXPECT_EQ(ReadText(folder / "r.csv"), text);
    EXPECT_EQ(Section(ecr, "3"), "");
}

TEST_F(EndToEndTest, ReportsRejectedAndBadRecordsByLine) {
    const Simulator ecr({"--reject", "5:3", "--reject", "7"});
    EXPECT_EQ(Output(ecr, {"send", "3", File("a.csv", "7,\"no\"\n5,\"bad\",1\n6,\"ok\"\n8,\"x\",\n4,,1\n")}),

              "Line 5     - Record has bad format         \n"
              "Line 2     - Record field 3 has invalid value\n"
              "Line 1     - Record can not be updated     \n"
              "Records sent: 2\n" +
                  Failed(2));
    EXPECT_EQ(TakeLog(),
              "\n\nFound 1 bad format record(s)\n2 record(s) rejected by ECR\n"
              "I/O statistics : OUT frames = 6, IN frames = 5\nCompleted with errors\n");
    EXPECT_EQ(Section(ecr, "3"), "6,\"ok\"\r\n8,\"x\"\r\n");
    for (const auto& [text, parameter, status] : {std::tuple("7,1\n", "/Note=1", 14),
                                                  {"5,1\n", "/Note=1", 14},
                                                  {"1,1\n1,2\n", "/IgnoreDuplicates=0", 2},
                                                  {"1,1\n1,2\n", "/IgnoreDuplicates=1", 0},
                                                  {"1,1\n\n", "/IgnoreDuplicates=1", 2}})
        EXPECT_EQ(Tavo(ecr, {"send", "3", File("a.csv", text), parameter}).status, status) << text;
}

TEST_F(EndToEndTest, SendsSeveralRecordsBeforeItTakesTheirAnswers) {
    const Simulator ecr({"--records-in-packet", "5"});
    File("a.csv", ManyRecords(12, "\n"));
    EXPECT_EQ(Output(ecr, {"send", "3", folder / "a.csv", "/RecordsInPacket=5"}), "Records sent: 12\n" + ok);
    EXPECT_EQ(Output(ecr, {"send", "3", folder / "a.csv", "/RecordsInPacket=0"}), "Records sent: 0\n" + ok);
    EXPECT_EQ(Section(ecr, "3"), ManyRecords(12, "\r\n"));
}

TEST_F(EndToEndTest, RenegotiatesWhenTheEcrGaveTheSessionUp) {
    const Simulator ecr({"--timeout-after", "2"});
    File("a.csv", ManyRecords(5, "\n"));
    EXPECT_EQ(Output(ecr, {"send", "3", folder / "a.csv"}), "Records sent: 5\n" + ok);
    EXPECT_EQ(TakeLog().find("\n\nCommunication timeout on ECR side, renegotiating...\n"), 0u);
    EXPECT_EQ(Section(ecr, "3"), ManyRecords(5, "\r\n"));
    const Simulator packets({"--timeout-after", "2", "--records-in-packet", "2"});
    EXPECT_EQ(Output(packets, {"send", "3", folder / "a.csv", "/RecordsInPacket=2"}),

              "\nCommunication error: Unexpected data received, retry not possible\n" + Failed(5));
}

TEST_F(EndToEndTest, SpeaksEveryFrameVersionAndProtocolSet) {
    for (const char* version : {"1", "2", "3"}) {
        const Simulator ecr({"--version", version, "--protocol-set", "0"});
        File("a.csv", ManyRecords(300, "\n"));
        EXPECT_EQ(Tavo(ecr, {"send", "3", folder / "a.csv", "/ProtocolSet=0"}).status, 0);
        EXPECT_EQ(Tavo(ecr, {"read", "3", folder / "b.csv", "/ProtocolSet=0"}).status, 0);
        EXPECT_EQ(ReadText(folder / "b.csv"), ManyRecords(300, "\r\n")) << version;
    }
}

TEST_F(EndToEndTest, GivesThePasswordAndPassesOnTheRefusalsOfTheEcr) {
    Simulator ecr({"--password", "Secret", "--trace"});
    EXPECT_EQ(Tavo(ecr, {"clear", "3", "/Password=Secret"}).status, 0);
    EXPECT_EQ(Output(ecr, {"clear", "3", "/Password=wrong"}), "\nBad or missing password\n" + Failed(11));
    EXPECT_EQ(Tavo(ecr, {"clear", "3"}).status, 5);
    EXPECT_EQ(Tavo(ecr, {"CLEAR", "99999999960", "-Password:a", "/Note=b=c", "/Password:Secret"}).status, 0);
    const std::string trace = ecr.Stop();
    for (const char* text : {"<- frame v3 #0: authorisation", "-> frame v3 #32: answer: ok",
                             "answer: password wrong", "<- frame v3 #32: request: clear section 3",
                             "answer: bad frame", "<- ACK", "hung up", "request: clear section 255"})
        EXPECT_NE(trace.find(text), std::string::npos) << text;
    const std::string sending = "\n";
    EXPECT_EQ(Output(Simulator({"--busy"}), {"clear", "3"}), sending + "ECR is busy\n" + Failed(3));
    EXPECT_EQ(Output(Simulator({"--not-activated"}), {"clear", "3"}),
              sending + "ECR communications are not activated\n" + Failed(12));
}

TEST_F(EndToEndTest, RepeatsTheCommandWhenTheEcrDoesNotAnswer) {
    const Simulator ecr({"--protocol-set", "0"});  // acknowledges what it does not answer
    EXPECT_EQ(Output(ecr, {"clear", "3", "/RetryCount=2", "/EcrOperationMaxTime=100",
                           "/SerialProtocolRetryCount=1"}),
              notResponding + notResponding + Failed(5));
    EXPECT_EQ(TakeLog(),
              "\n\nI/O statistics : OUT frames = 1, IN frames = 0, LOST = 1\nECR is not responding\n"
              "I/O statistics : OUT frames = 2, IN frames = 0, LOST = 2\nECR is not responding\n"
              "Completed with errors\n");
}

TEST_F(EndToEndTest, EndsEveryFailureBeforeTheLineWithItsOwnStatus) {
    const Simulator ecr;
    const std::string tty = "/TTY=" + ecr.Tty();
    const std::string huge = folder / "huge";
    std::ofstream(huge).seekp(int64_t{1} << 31).put('\n');
    const std::string empty = File("empty.csv", "");
    const std::string bad = File("bad.csv", "bad\n1,\"\x01\"\n");  // in the index, and on its conversion
    const std::string good = File("good.csv", "1,\"a\"\n");
    std::string fields;
    for (int i = 0; i < 330; i++) fields += ",16";
    const std::string tooLong = File("long.csv", "1" + fields + "\n");
    const struct {
        std::vector<std::string> words;
        std::string output;
        int status;
    } cases[] = {
        {{"reed", "3", "x"}, "Unknown command (use /? for help)", 1},
        {{"read", "x1", "a.csv"}, "Unknown data type (use /? for help)", 1},
        {{"read", "-1", "a.csv"}, "Unknown data type (use /? for help)", 1},
        {{"clear", "3", "/A"}, "Bad command line parameter: /A (use /? for help)", 1},
        {{"clear", "3", "/=5"}, "Bad command line parameter: /=5 (use /? for help)", 1},
        {{"clear", "3", "/A="}, "Bad command line parameter: /A= (use /? for help)", 1},
        {{"clear", "3", "A=5"}, "Bad command line parameter: A=5 (use /? for help)", 1},
        {{"clear", "3", ""}, "Bad command line parameter:  (use /? for help)", 1},
        {{"clear", "3", "/IpAddress=a", "/ComNumber=b"},
         "Configuration error: Both serial port and ethernet settings are specified",
         10},
        {{"clear", "3", "/IpAddress=a"}, "Internal error", 99},
        {{"clear", "3", "/IpAddress=a", "/WithTC=1"}, "Internal error", 99},
        {{"clear", "3", "/StandardLog=-1"}, "Internal error", 99},
        {{"clear", "3", "/ProtocolSet=7"}, "Configuration error: Invalid ProtocolSet parameter", 10},
        {{"clear", "3"}, "Configuration error: Bad or missing tty name", 10},
        {{"clear", "3", "/TTY=none"}, "System error: Unable to open serial port", 50},
        {{"clear", "3", "/TTY=null"},
         "System error: Cannot read serial port settings. Please ensure that correct TTY specified",
         50},
        {{"executeserver", "2", "/TTY=none"}, "System error: Unable to open serial port", 50},
        {{"executeserver", "1", tty}, "\nDisconnectFromServer command not supported", 99},
        {{"send", "3", "/tmp", tty}, "File '/tmp' read error", 13},
        {{"send", "3", huge, tty}, "File '" + huge + "' is too large", 13},
        {{"send", "3", "a", "/FileType=BIN", tty}, "Configuration error: Unsupported file type", 10},
        {{"clear", "3", "A\033[2J"}, "Bad command line parameter: A\\x1b[2J (use /? for help)", 1},
        {{"clearandsend", "3", "none.csv", tty}, "Unable to open file 'none.csv'", 13},
        {{"clearandsend", "3", empty, tty}, "\nNothing to send, not cleared", 2},
        {{"clearandsend", "3", bad, tty},
         "Line 1     - Record has bad format         \n"
         "Line 2     - Record has bad format         \n\nNothing to send, not cleared",
         2},
        {{"clearandsend", "3", good, tty, "/RecordsInPacket=0"}, "\nNothing to send, not cleared", 2},
        {{"clearandsend", "3", tooLong, tty}, "Internal error", 99},
        {{"send", "3", "no\n01.csv", tty}, "Unable to open file 'no\\x0a01.csv'", 13}};
    for (const auto& c : cases) {
        std::remove((folder / "log/TAVO.log").c_str());
        EXPECT_EQ(Output(c.words), c.output + "\n" + Failed(c.status)) << c.words.back();
        EXPECT_TRUE(c.status != 1 || TakeLog().empty());  // a command line error is not logged
    }
    EXPECT_EQ(TakeLog(),
              "\n\nI/O statistics : OUT frames = 0, IN frames = 0\nUnable to open file 'no\\x0a01.csv'\n"
              "Completed with errors\n");
    EXPECT_EQ(Tavo({"runserver", "/ServerPortFrom=1"}).output, Failed(99));
    EXPECT_EQ(Tavo({"executeserver", "2", tty}).output, Failed(15));
}

TEST_F(EndToEndTest, ShowsTheUsageAndLogsALongCommandLineWhole) {
    const std::string usage = RunProgram({TAVO_PROGRAM, "-?"}).output;
    EXPECT_EQ(usage.find("Data exchange tool for ZEL ECRs.\n\n\nVersion 3.3.3 (Compiled: "), 0u);
    EXPECT_NE(usage.find("  TAVO.EXE command data [filename] [parameters]\n\n\n  command      - Read,"),
              std::string::npos);
    EXPECT_EQ(RunProgram({TAVO_PROGRAM}).status, 0);
    const Simulator ecr;  // which the run finds by the INI file
    ini = File("TAVO.ini", "[Common]\nStandardLog=1\n[ECR_Till]\nTTY=" + ecr.Tty() + "\n");
    const std::string words = "clear 3 /Note=" + std::string(4000, 'x') + " ";
    EXPECT_EQ(Tavo({"clear", "3", "/Note=" + std::string(4000, 'x')}).status, 0);
    EXPECT_NE(ReadText(folder / "log/TAVO.log").find(" " + words), std::string::npos);
}

TEST_F(EndToEndTest, CarriesRawRecordsAndKeepsSectionsBetweenRuns) {
    std::string raw;
    for (int i = 0; i < 130; i++) raw += static_cast<char>(i);
    EXPECT_EQ(Output(Simulator({"--data", folder / "register"}), {"send", "195", File("a.dat", raw)}),
              "Records sent: 3\n" + ok);
    Simulator ecr({"--data", folder / "register", "--once"});
    EXPECT_EQ(Tavo(ecr, {"read", "195", folder / "b.dat"}).status, 0);
    EXPECT_EQ(ReadText(folder / "b.dat"), raw);
    EXPECT_EQ(ecr.Finish().status, 0);  // ended by itself when the tool hung up
}

TEST_F(EndToEndTest, TouchesNoTerminalSettingsWhileRecordsAreExchanged) {
    const Simulator ecr;
    const auto calls = [&](int records) {
        std::vector<std::string> words = Words({"send", "3", File("a.csv", ManyRecords(records, "\n"))});
        words.insert(words.begin(), {"/usr/bin/strace", "-f", "-o", folder / "trace", "-e", "trace=ioctl"});
        words.push_back("/TTY=" + ecr.Tty());
        EXPECT_NE(RunProgram(words).output.find(ok), std::string::npos);
        const std::string text = ReadText(folder / "trace");
        const std::regex settings("TCGETS|TCSETS|TIOC");
        return std::distance(std::sregex_iterator(text.begin(), text.end(), settings), {});
    };
    EXPECT_GT(calls(1), 0);
    EXPECT_EQ(calls(1), calls(40));
}

TEST(SimulatorTest, RefusesBadOptionsWithStatusTwo) {
    const std::vector<std::string> cases[] = {
        {"unknown option --bad", "--bad"},
        {"--wait needs an argument: N", "--wait"},
        {"--version: '4' is no number from 1 to 3", "--version", "4"},
        {"--reject: 'x' is no number from 0 to 2147483647", "--reject", "x:1"},
        {"--refuse: '5' is not CODE=ANSWER", "--refuse", "5"},
        {"--fault: 'drop=2' is no FAULT=RATE", "--fault", "flip=0.1,drop=2"}};
    for (std::vector<std::string> words : cases) {
        const std::string message = "ecrsim: " + std::exchange(words[0], ECRSIM_PROGRAM) + " (use --help)\n";
        const RunResult run = RunProgram(words);
        EXPECT_EQ(run.output + std::to_string(run.status), message + "2");
    }
    const RunResult help = RunProgram({ECRSIM_PROGRAM, "--help"});
    EXPECT_NE(help.output.find("Example:"), std::string::npos);
    EXPECT_EQ(help.status, 0);
}
