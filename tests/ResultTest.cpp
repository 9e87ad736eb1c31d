#include <sys/stat.h>

#include <tuple>

#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "EndToEnd.h"
#include "Support.h"

/** The file of a run's result. */
using ResultTest = EndToEndTest;

TEST_F(ResultTest, WritesAResultThatAProgramReadsWhateverItIs) {
    const PseudoTerminal silent;
    Simulator ecr({"--reject", "2:3", "--reject", "5", "--password", "s3cret", "--trace=json"});
    const std::string tty = "/TTY=" + ecr.Tty();
    const std::string path = folder / "T%2F1.json";
    const std::string page = ReadText(SOURCE_FOLDER "/docs/results.md");
    const size_t table = page.find("| Member |");
    const std::string shown = page.substr(table, page.find("\n\n", table) - table);
    ini = File("TAVO.ini", "[ECR_T/1]\n");
    const auto result = [&](const char* filter) {
        return RunProgram({"/usr/bin/jq", "-c", filter, path}).output;
    };
    const std::string file = File("a\xE4\"\n\xC2\x85.csv", "1,\"a\"\n2,\"b\",1,2\nbad\n\n1,\"c\"\n5,5\n");
    for (const auto& [words, expected] :
         {std::pair(std::vector<std::string>{"send", "3", file, tty, "/Password=s3cret"},
                    R"(["Send","T/1",3,1,2,"InputFileSyntaxError","fix-file"])"),
          {{"clear", "3", tty, "/Password=other"}, R"(["Clear","T/1",3,1,11,"BadPassword","fix-setup"])"},
          {{"clear", "3", "/TTY=none"}, R"(["Clear","T/1",3,1,50,"SystemError","fix-setup"])"},
          {{"clear", "3"}, R"(["Clear","T/1",3,1,10,"ConfigError","fix-setup"])"},
          {{"clear", "3", "/TTY=" + silent.Tty(), "/SerialProtocolRetryCount=1",
            "/SerialProtocolResponseMaxTime=100", "/RetryCount=2"},
           R"(["Clear","T/1",3,2,5,"CommunicationError","retry"])"},
          {{"clr", "3", "Password=s3cret"}, R"(["clr","T/1",null,0,1,"CmdLineError","fix-setup"])"},
          {{"/Password=s3cret", "clear", "3"}, R"(["","T/1",null,0,1,"CmdLineError","fix-setup"])"},
          {{"delete", "3", "/Password=s3cret", tty}, R"(["Delete","T/1",3,1,13,"FileIoError","fix-setup"])"},
          {{"readfiscalstatus", folder / "s.csv", tty, "/Password=s3cret"},
           R"(["ReadFiscalStatus","T/1",null,1,0,"OK","ok"])"}}) {
        std::vector<std::string> run = words;
        run.insert(run.end(), {"/ECR=t/1", "/ResultFile=" + folder / "{ECR}.json"});
        const int status = Tavo(run).status;
        EXPECT_EQ(result("[.command,.register,.section,.attempts,.status,.name,.class]"),
                  expected + std::string("\n"));
        EXPECT_EQ(result(".status"), std::to_string(status) + "\n");
        EXPECT_EQ(ReadText(path).find("s3cret"), std::string::npos);
        std::istringstream members(result("[paths|map(strings)|last]|unique|.[]"));
        for (std::string member; std::getline(members, member);)
            EXPECT_NE(shown.find(ReplaceAll(member, "\"", "`")), std::string::npos)
                << "docs/results.md lacks " << member;
        EXPECT_EQ(result(".hint").find("\"nothing came: tavo-line probe") == 0, status == 5);
        if (words[0] == "send") {
            EXPECT_EQ(
                result("[.records,.lines[]]|tostring|gsub(\"\\\"\";\"\")"),
                "\"[{read:0,sent:1,deleted:0,refused:2,bad:1,empty:1,duplicate:1},{line:3,cause:Record has "
                "bad "
                "format},{line:4,cause:Record is empty},{line:1,cause:Record number is not unique},"
                "{line:2,field:3,cause:Record field 3 has invalid value},{line:6,cause:Record can not be "
                "updated}]\"\n");
            EXPECT_EQ(
                result("[.bytes,.message]"),
                Format("[%zu,\"Found 1 duplicate record(s); Found 1 empty record(s); Found 1 bad format "
                       "record(s); 2 record(s) rejected by ECR\"]\n",
                       ReadText(file).size()));
            EXPECT_NE(ReadText(path).find("a\\u00e4\\\"\\u000a\\u0085.csv"), std::string::npos);
        }
    }
    const PseudoTerminal waiting;
    Process slow(Words({"clear", "3", "/TTY=" + waiting.Tty(), "/ResultFile=" + path}));
    waiting.TakeFrame();
    EXPECT_EQ(result("[.state,.clear,.status]"), "[\"running\",\"requested\",null]\n");
    const std::string id = result(".run");
    slow.Signal(SIGTERM);
    slow.Finish();
    EXPECT_EQ(result("[.state,.clear,.status,.name,.message]"),
              "[\"ended\",\"requested\",143,\"Interrupted\",\"Interrupted by signal 15\"]\n");
    EXPECT_EQ(result(".run"), id);
    EXPECT_EQ(Tavo({"clear", "3", tty, "/Password=other", "/ResultFile=" + path}).status, 11);
    EXPECT_EQ(result("[.clear,.format]"), "[\"no\",1]\n");
    EXPECT_EQ(Tavo({"clear", "3", tty, "/Password=s3cret", "/ResultFile=" + path}).status, 0);
    EXPECT_EQ(result("[.clear,.port,.bytes]"), "[\"done\",\"/dev/" + ecr.Tty() + "\",null]\n");
    EXPECT_NE(result(".run"), id);
    EXPECT_EQ(Output({"clear", "3", tty, "/Password=s3cret", "/ResultFile=/none/a"}),
              "Unable to open file '/none/a'\n" + Failed(13));
    EXPECT_EQ(Tavo({"delete", "3", file, "/ResultFile=/none/a"}).status, 10);
    // a report may be nowhere else, and a pipe or device is everybody's
    const std::string report = folder / "report.csv";
    const std::string log = folder / "log/TAVO.log";
    const std::string settings = ReadText(ini);
    mkfifo((folder / "pipe").c_str(), 0600);
    for (const std::string& used :
         {report, folder / "./report.csv", report + "~", folder / "pipe", folder / "", log, ini}) {
        Tavo(ecr, {"send", "70", File("c.csv", "7,8\n"), "/Password=s3cret"});
        EXPECT_EQ(Tavo(ecr, {"readandclear", "70", report, "/Password=s3cret", "/ResultFile=" + used}).status,
                  13);
        // the register has not been asked, or has given it away to a file that is as it was
        Tavo(ecr, {"read", "70", folder / "left.csv", "/Password=s3cret"});
        EXPECT_NE((ReadText(report) + ReadText(folder / "left.csv")).find("7,8\r\n"), std::string::npos)
            << used;
    }
    EXPECT_EQ(Tavo(ecr, {"read", "70", folder / "new.csv", "/ResultFile=" + folder / "./new.csv"}).status, 5);
    EXPECT_EQ(ReadText(folder / "new.csv"), "") << "made by the result";
    WriteText(report, "7,8\r\n");
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "pipe"));
    EXPECT_EQ(Tavo({"snd", "3", report, "/ResultFile=" + report}).status, 1);
    EXPECT_EQ(ReadText(report), "7,8\r\n");
    EXPECT_NE(ReadText(log).find("Completed OK"), std::string::npos);
    EXPECT_EQ(ReadText(ini), settings);
    // a sale that is told as a failure may be repeated: the register, which wants a password, is not asked
    for (const std::string& used : {std::string("/none/a"), folder / "r.csv", folder / "pipe"})
        EXPECT_EQ(Tavo(ecr, {"executefiscal", File("r.csv", "10\n"), "/ResultFile=" + used}).status, 13);
    for (const char* name : {"report.csv", "report.csv~", "left.csv", "new.csv", "c.csv", "r.csv", "pipe"})
        std::remove((folder / name).c_str());
    WriteText(path, ecr.Stop());
    EXPECT_EQ(result("select(.event|test(\"ECR status|receipt closed\"))|[.from,.event]"),
              "[\"tool\",\"frame v3 #32: request: read ECR status\"]\n"
              "[\"register\",\"frame v3 #33: status: 0,\\\"receipt closed\\\",0,0,0\"]\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / ""), {}), 5);  // nothing temporary
}

TEST_F(ResultTest, AResultTellsWhatTheLineHasDone) {
    // a Clear whose first frame is lost three times, then a session with garbage, two without an answer, a
    // good one
    const auto line = [](const char* direction, const Bytes& bytes) {
        return std::string("0 ") + direction + " " + ToHex(bytes) + "\n";
    };
    const auto answer = [](byte seqNo, const char* data) { return BuildFrame(3, FromHex(data), seqNo); };
    const std::string clearing = line("<", BuildFrame(3, FromHex("0B 03 00 03 03 02"), 0));
    const std::string ack = line(">", {ACK});
    const std::string taken = line("<", {ACK});
    const std::string lost = clearing + ack + "0 hung up\n";
    const std::string session =
        clearing + clearing + clearing + clearing + ack + line(">", answer(32, "0C 01 00 00")) + taken +
        "0 hung up\n" + lost + lost + clearing + ack + line(">", answer(32, "0B 01 00 00")) + taken +
        line(">", answer(33, "0B 01 00 05")) + taken + line(">", answer(34, "0B 01 00 05")) + taken +
        line(">", answer(35, "0B 01 00 00")) + taken;
    const std::string path = folder / "result";
    const auto result = [&](const char* filter) {
        return RunProgram({"/usr/bin/jq", "-c", filter, path}).output;
    };
    const Simulator register_({"--replay", File("session.txt", session)});
    const double before = static_cast<double>(time(nullptr));
    const RunResult run = Tavo(
        register_, {"clear", "3", "/ResultFile=" + path, "/RetryCount=4", "/SerialProtocolRetryCount=4",
                    "/SerialProtocolResponseMaxTime=100", "/EcrOperationMaxTime=100", "/EcrCommMaxTime=100"});
    const double end = static_cast<double>(time(nullptr)) + 1;
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(result("[.io,.attempts,.frameVersion,.commandsAcknowledged]"),
              "[{\"framesOut\":4,\"framesIn\":5,\"lost\":2,\"garbage\":1,\"repeated\":3},4,3,0]\n");
    std::string began = result(".start");
    began = RunProgram({"/usr/bin/date", "-d", began.substr(1, began.size() - 3), "+%s.%N"}).output;
    const double start = std::stod(began);
    const double seconds = std::stod(result(".seconds"));
    EXPECT_TRUE(start >= before && start <= end) << began;
    EXPECT_TRUE(seconds > 1.9 && seconds <= end - before)
        << seconds;  // three waits of 0.1 s and eight of 0.2 s
    const Simulator ecr({"--frame-version", "2", "--refuse", "13=6"});
    EXPECT_EQ(Tavo(ecr, {"executefiscal", File("f.csv", "12,\"a\"\n50\n13\n"), "/ResultFile=" + path}).status,
              4);
    EXPECT_EQ(result("[.frameVersion,.commandsAcknowledged]"), "[2,2]\n");
}
