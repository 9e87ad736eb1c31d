#include <sys/stat.h>

#include <tuple>

#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "EndToEnd.h"
#include "Outcome/ExitStatus.h"
#include "Support.h"

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
    const std::string clearing = request + "Clearing ...\r            \r";
    EXPECT_EQ(Tavo(ecr, {"ReadAndClear", "3", folder / "back.csv", "/SerialProtocolVersion=1"}).output,
              request + "Records read: 1\n" + clearing + ok);
    EXPECT_EQ(ReadText(folder / "back.csv"), "2,\"\",0,0x00ff\r\n");
    EXPECT_EQ(Output(ecr, {"readandclear", "3", folder / "back.csv"}), "Records read: 0\n" + ok);
    EXPECT_EQ(Output(ecr, {"ClearAndSend", "3", folder / "plu.csv"}), "Records sent: 3\n" + ok);
    TakeLog();
    EXPECT_EQ(Tavo(ecr, {"clear", "3"}).output, clearing + ok);
    EXPECT_EQ(TakeLog(), "\n\nI/O statistics : OUT frames = 1, IN frames = 5\nCompleted OK\n");
    EXPECT_EQ(Section(ecr, "3"), "");
    EXPECT_EQ(Tavo(ecr, {"init", "3"}).output, request + "Initializing ...\r                \r" + ok);
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
    for (const auto& [text, ignore, status] : {std::tuple("7,1\n", "0", 14),
                                               {"5,1\n", "0", 14},
                                               {"1,1\n1,2\n", "0", 2},
                                               {"1,1\n1,2\n", "1", 0},
                                               {"1,1\n\n", "1", 2}}) {
        const std::string parameter = std::string("/IgnoreDuplicates=") + ignore;
        EXPECT_EQ(Tavo(ecr, {"send", "3", File("a.csv", text), parameter}).status, status) << text;
    }
}

TEST_F(EndToEndTest, RenegotiatesWhenTheEcrGaveTheSessionUp) {
    const Simulator ecr({"--timeout-after", "2"});
    File("a.csv", ManyRecords(5, "\n"));
    EXPECT_EQ(Output(ecr, {"send", "3", folder / "a.csv"}), "Records sent: 5\n" + ok);
    EXPECT_EQ(TakeLog().find("\n\nCommunication timeout on ECR side, renegotiating...\n"), 0u);
    EXPECT_EQ(Section(ecr, "3"), ManyRecords(5, "\r\n"));
    EXPECT_EQ(Output(Simulator({"--timeout-after", "2", "--records-in-packet", "2"}),
                     {"send", "3", folder / "a.csv", "/RecordsInPacket=2"}),
              "\nCommunication error: Unexpected data received, retry not possible\n" + Failed(5));
}

TEST_F(EndToEndTest, GivesThePasswordAndPassesOnTheRefusalsOfTheEcr) {
    Simulator ecr({"--password", "Secret", "--trace"});
    EXPECT_EQ(Tavo(ecr, {"clear", "3", "/Password=Secret"}).status, 0);
    EXPECT_EQ(Output(ecr, {"clear", "3", "/Password=wrong"}), "\nBad or missing password\n" + Failed(11));
    EXPECT_EQ(Tavo(ecr, {"clear", "3"}).status, 5);
    EXPECT_EQ(Tavo(ecr, {"CLEAR", "99999999960", "-Password:a", "/Note=b=c", "/Password:Secret"}).status, 0);
    EXPECT_NE(ecr.Stop().find("request: clear section 255"), std::string::npos);
    EXPECT_EQ(Output(Simulator({"--busy"}), {"clear", "3"}), "\nECR is busy\n" + Failed(3));
    EXPECT_EQ(Tavo(Simulator({"--not-activated"}), {"clear", "3"}).status, 12);
}

TEST_F(EndToEndTest, RepeatsTheCommandWhenTheEcrDoesNotAnswer) {
    const Simulator ecr({"--protocol-set", "0"});  // acknowledges what it does not answer
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Output(ecr, {"clear", "3", "/RetryCount=2", "/EcrOperationMaxTime=100",
                           "/SerialProtocolRetryCount=1"}),
              notResponding + notResponding + Failed(5));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2 * (100 + 100)));
    EXPECT_NE(TakeLog().find(", LOST = 2\nECR is not responding\nCompleted with errors\n"),
              std::string::npos);
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
    const std::string config = "Configuration error: ";
    const std::string usage = " (use /? for help)";
    const std::string nothing = "\nNothing to send, not cleared";
    const std::tuple<std::vector<std::string>, std::string, int> cases[] = {
        {{"reed", "3", "x"}, "Unknown command" + usage, 1},
        {{"read", "x1", "a.csv"}, "Unknown data type" + usage, 1},
        {{"clear", "3", "/IpAddress=a", "/ComNumber=b"},
         config + "Both serial port and ethernet settings are specified",
         10},
        {{"clear", "3", "/IpAddress=a"}, "Internal error", 99},
        {{"clear", "3", "/IpAddress=a", "/WithTC=1"}, "Internal error", 99},
        {{"clear", "3", "/StandardLog=-1"}, "Internal error", 99},
        {{"clear", "3", "/ProtocolSet=7"}, config + "Invalid ProtocolSet parameter", 10},
        {{"clear", "3"}, config + "Bad or missing tty name", 10},
        {{"clear", "3", "/TTY=none"}, "System error: Unable to open serial port", 50},
        {{"clear", "3", "/TTY=null"},
         "System error: Cannot read serial port settings. Please ensure that correct TTY specified",
         50},
        {{"executeserver", "1", tty}, "\nDisconnectFromServer command not supported", 99},
        {{"send", "3", "/tmp", tty}, "File '/tmp' read error", 13},
        {{"send", "3", huge, tty}, "File '" + huge + "' is too large", 13},
        {{"send", "3", "a", "/FileType=BIN", tty}, config + "Unsupported file type", 10},
        {{"clearandsend", "3", "none.csv", tty}, "Unable to open file 'none.csv'", 13},
        {{"clearandsend", "3", empty, tty}, nothing, 2},
        {{"clearandsend", "3", bad, tty},
         "Line 1     - Record has bad format         \nLine 2     - Record has bad format         \n" +
             nothing,
         2},
        {{"clearandsend", "3", good, tty, "/RecordsInPacket=0"}, nothing, 2},
        {{"clearandsend", "3", tooLong, tty}, "Internal error", 99},
        {{"send", "3", "no\n01.csv", tty}, "Unable to open file 'no\\x0a01.csv'", 13}};
    for (const std::string word : {"/A", "/=5", "/A=", "A=5", "", "A\033"})
        EXPECT_EQ(Output({"clear", "3", word}),
                  "Bad command line parameter: " + Printable(word) + usage + "\n" + Failed(1));
    EXPECT_EQ(TakeLog(), "");  // a command line error is not logged
    for (const auto& [words, output, status] : cases) {
        TakeLog();
        EXPECT_EQ(Output(words), output + "\n" + Failed(status)) << words.back();
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
    for (const char* program : {TAVO_PROGRAM, TAVO_CHECK_PROGRAM})
        EXPECT_EQ(RunProgram({program}).status, 0) << program;
    const Simulator ecr;  // which the run finds by the INI file
    ini = File("TAVO.ini", "[Common]\nStandardLog=1\n[ECR_Till]\nTTY=" + ecr.Tty() + "\n");
    const std::string note = "/Note=" + std::string(4000, 'x');
    EXPECT_EQ(Tavo({"clear", "3", note}).status, 0);
    EXPECT_NE(ReadText(folder / "log/TAVO.log").find(" clear 3 " + note + " "), std::string::npos);
}

TEST_F(EndToEndTest, CarriesRawRecordsAndKeepsSectionsBetweenRuns) {
    std::string raw;
    for (int i = 0; i < 130; i++) raw += static_cast<char>(i);
    const std::vector<std::string> send{"send", "195", File("a.dat", raw), "/ProtocolSet=0"};
    Simulator first({"--data", folder / "register", "--frame-version", "1", "--protocol-set", "0", "--once",
                     "--record", folder / "session.txt"});
    EXPECT_EQ(Output(first, send), "Records sent: 3\n" + ok);
    EXPECT_EQ(first.Finish().status, 0);
    EXPECT_EQ(Output(Simulator({"--replay", folder / "session.txt"}), send), "Records sent: 3\n" + ok);
    const Simulator ecr({"--data", folder / "register", "--frame-version", "2"});
    EXPECT_EQ(Tavo(ecr, {"read", "195", folder / "b.dat"}).status, 0);
    EXPECT_EQ(ReadText(folder / "b.dat"), raw);
}

TEST_F(EndToEndTest, OneMachineTestsTheOtherOverTwoRealPorts) {
    const NullModem cable;
    const termios before = cable.b.Settings();
    Process ecr({ECRSIM_PROGRAM, "--tty", cable.b.Tty(), "--com-settings", "baud=9600 stop=2"});
    EXPECT_EQ(ecr.ReadLine(), "Serving on " + cable.b.Tty());
    termios now = cable.b.Settings();
    EXPECT_TRUE(cfgetospeed(&now) == B9600 && (now.c_cflag & CSTOPB) != 0);
    const std::string tty = "/TTY=" + cable.a.Tty();
    EXPECT_EQ(Tavo({"send", "3", File("a.csv", ManyRecords(100, "\r\n")), tty}).status, 0);
    EXPECT_EQ(Tavo({"read", "3", folder / "b.csv", tty}).status, 0);
    EXPECT_EQ(ReadText(folder / "b.csv"), ReadText(folder / "a.csv"));
    EXPECT_EQ(RunProgram({ECRSIM_PROGRAM, "--tty", cable.b.Tty()}).status, 1);  // it is locked
    ecr.Signal(SIGTERM);
    EXPECT_EQ(ecr.Finish().status, 0);
    EXPECT_EQ(cable.b.Settings().c_lflag, before.c_lflag);
}

TEST_F(EndToEndTest, ShowsNoControlCharacterOfANameOrAnOption) {
    const std::string odd = "a\033[2J\xC2\x9B";
    const auto shown = [&](const std::vector<std::string>& words) {
        const std::string output = Process(words).ReadLine();
        EXPECT_NE(output.find("a\\x1b[2J\\xc2\\x9b"), std::string::npos) << output;
        EXPECT_EQ(output, Printable(output));
    };
    for (const char* option : {"--refuse", "--fault", "--baud", "--replay", odd.c_str()})
        shown({ECRSIM_PROGRAM, option, odd});
    shown({ECRSIM_PROGRAM, "--replay", File(odd, "x")});
    shown({ECRSIM_PROGRAM, "--data", folder / odd + "/b"});
    shown({TAVO_LINE_PROGRAM, odd});
    shown({TAVO_CHECK_PROGRAM, "3", odd + ".csv", "/ConfigFilePath=" + ini});
    const PseudoTerminal line;
    std::filesystem::create_symlink("/dev/" + line.Tty(), folder / (odd + "tty"));
    shown({ECRSIM_PROGRAM, "--tty", ".." + folder / (odd + "tty")});
}

TEST_F(EndToEndTest, HintsOnATerminalAndNowhereElse) {
    const PseudoTerminal screen;
    const PseudoTerminal held;
    const PseudoTerminal silent;
    const Simulator ecr;
    const Simulator otherSet({"--protocol-set", "0"});
    const Simulator busy({"--busy"});
    const Process holder({"/usr/bin/flock", "/dev/" + held.Tty(), "/bin/sleep", "60"});
    while (system(("flock -n /dev/" + held.Tty() + " true").c_str()) == 0) std::this_thread::yield();
    ini = File("TAVO.ini", "[ECR_Till]\nRetryCount=1\n");
    const std::string tty = "/TTY=" + ecr.Tty();
    for (const auto& [words, status, hint] :
         {std::tuple(std::vector<std::string>{tty}, 0, std::string()),
          {{tty, "/ecr=B"}, 0, "no setting /ecr; /ECR?"},
          {{tty, "/ECR=B"}, 0, "no section [ECR_B] in " + ini},
          {{}, 10, "no TTY in " + ini + ", [ECR_Till] or [Common]; tavo-line list shows the ports"},
          {{"/TTY=none"}, 50, "no such device; tavo-line list shows "},
          {{tty, "/ComSettings=baud=9600"}, 0, "/ComSettings has no effect on the command line"},
          {{"bad"}, 1, "correct it; tavo /?"},
          {{"/TTY=" + busy.Tty()}, 3, "try again later"},
          {{tty, "/ResultFile=/none/a"}, 13, "/none/a: No such file or directory"},
          {{tty, "/ResultFile=/dev/full"}, 13, FindExitStatus(ReturnCode_FileIoError)->whatToDo},
          {{"/TTY=/dev/ttyS9"}, 50, "TTY is a name below /dev"},
          {{"/TTY=" + held.Tty()}, 16, "held by flock, process "},
          {{"/TTY=" + silent.Tty(), "/SerialProtocolRetryCount=1", "/SerialProtocolResponseMaxTime=100"},
           5,
           "nothing came: tavo-line probe /TTY="},
          {{"/TTY=" + otherSet.Tty(), "/EcrOperationMaxTime=0"},
           5,
           "1 byte came, none of them a frame: tavo-line probe /TTY="}}) {
        std::vector<std::string> run = words;
        run.insert(run.begin(), {"clear", "3"});
        const std::string plain = Output(run);
        const RunResult result = RunInShell("", Words(run), "2>/dev/" + screen.Tty());
        EXPECT_EQ(Told(result), plain);
        EXPECT_EQ(result.status, status);
        const std::string shown = screen.Written(hint);
        EXPECT_TRUE(hint.empty() ? shown.empty() : shown.find("hint: " + hint) == 0) << shown << hint;
    }
    const std::string forgotten = "hint: the file is missing: /Password stands in its place";
    RunInShell("", Words({"send", "3", "/Password=secret"}), "2>/dev/" + screen.Tty());
    EXPECT_EQ(screen.Written(forgotten).find(forgotten), 0U);
    const int stopped = open(("/dev/" + screen.Tty()).c_str(), O_RDWR | O_NOCTTY);
    tcflow(stopped, TCOOFF);  // as by Ctrl-S: nobody is waited for
    EXPECT_EQ(RunInShell("timeout 5", Words({"clear", "3", tty, "/ecr=B"}), "2>/dev/" + screen.Tty()).status,
              0);
    close(stopped);
}

TEST_F(EndToEndTest, ShowsProgressOnlyWhereItIsWanted) {
    const PseudoTerminal screen;
    const Simulator ecr;
    const std::string file = File("a.csv", "1,2\n");
    for (const auto& [level, counts] : {std::pair("0", false), {"1", true}, {"2", false}})
        EXPECT_EQ(Tavo(ecr, {"send", "3", file, std::string("/Progress=") + level}).output.find('\r') !=
                      std::string::npos,
                  counts);
    for (const auto& [name, content, total] : {std::tuple("a.csv", std::string("1,2\n3,4\nbad\n"), "2"),
                                               {"a.bin", std::string(65, 'x'), "2"},
                                               {"a.bmp", ReadText(SAMPLES "/logo.bmp"), "40"}}) {
        const std::vector<std::string> words = {"send", "210", File(name, content), "/Progress=2",
                                                "/TTY=" + ecr.Tty()};
        RunInShell("", Words(words), ">/dev/" + screen.Tty() + " 2>&1");
        const std::string shown = screen.Written("Return value");
        EXPECT_NE(shown.find(Format("Records to send: %s\r\n", total)), std::string::npos) << shown;
        EXPECT_NE(shown.find("Records sent: 1\rRecords"), std::string::npos) << shown;
    }
}
