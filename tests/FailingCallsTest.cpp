#ifndef __SANITIZE_ADDRESS__  // which allows no library in front of its own

#include <map>

#include "EndToEnd.h"

namespace {

/** Runs of the program in which one call after the other fails. */
class FailingCallsTest : public EndToEndTest {
protected:
    void SetUp() override {
        // a setting whose loss is not seen by itself: with another delimiter the file looks as good
        ini = File("TAVO.ini", "[Common]\nDelimiter=;\n");
    }

    /** A run behind the library that lets calls fail, which these variables tell what to do. */
    RunResult Run(const std::vector<std::string>& variables, const std::string& tty,
                  std::vector<std::string> command) const {
        command.push_back("/TTY=" + tty);
        std::vector<std::string> words = Words(command);
        words.insert(words.begin(), variables.begin(), variables.end());
        words.insert(words.begin(), {"/usr/bin/env", std::string("LD_PRELOAD=") + FAILING_CALLS,
                                     "FAIL_REPORT=" + folder / "failed"});
        return RunProgram(words);
    }

    /** Runs in which nothing fails: they succeed at once, whatever the run before has left behind. */
    void Store() {
        EXPECT_EQ(Tavo(Simulator({"--data", folder / "register"}), {"Send", "3", sent}).status, 0);
    }
    std::string Stored() { return Section(Simulator({"--data", folder / "register"}), "3"); }

    const std::string records = "1;\"Bread\";1.25\r\n2;\"Milk, fresh\";0.5\r\n3;\"Tea\";3\r\n";
    const std::string sent = File("sent.csv", records);
    const std::string back = folder / "back.csv";
};

/** By how they fail: the k-th call or the k-th allocation, alone or with later ones. */
class FailEachCallTest : public FailingCallsTest, public testing::WithParamInterface<const char*> {
protected:
    /** Runs the command for k = 1, 2, 3, ... until it ends before the k-th call; each function has to fail.
     */
    void FailEach(std::vector<std::string> command, std::vector<const char*> functions,
                  const std::function<void()>& prepare,
                  const std::function<void(const RunResult& run, const std::string& trace)>& check) {
        command.insert(command.end(), {"/EcrOperationMaxTime=100", "/EcrCommMaxTime=100",
                                       "/ComStallMaxTime=200", "/SerialProtocolResponseMaxTime=100",
                                       "/SerialProtocolRetryCount=2", "/LineQuietTime=100"});
        const bool isAll = std::getenv("TAVO_ALL_CALLS") != nullptr;
        const bool isUnder = std::getenv("TAVO_UNDER") != nullptr;
        const std::string how = GetParam();
        const bool isMemory = how[0] == 'm';  // which the program asks for often
        if (isUnder && isMemory) GTEST_SKIP() << "valgrind has an allocator of its own";
        int tooSlow = 0;
        const int step = isAll ? 1 : isUnder ? 9 : isMemory ? 5 : 1;
        std::string function;
        for (int k = 1; function != "none"; k += step) {
            prepare();
            Simulator ecr({"--trace", "--once", "--data", folder / "register"});
            // held open, so that the register hangs up after the run, and after the last byte of it
            const int line = open(("/dev/" + ecr.Tty()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
            // nobody has written to it for long: it need not become quiet each time
            const timespec longAgo[] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
            if (how != "calls once") futimens(line, longAgo);
            const std::string settings = SettingsOf(line);
            std::remove((folder / "failed").c_str());
            const RunResult run =
                Run({"FAIL_HOW=" + how, "FAIL_AT=" + std::to_string(k)}, ecr.Tty(), command);
            const bool isPortRestored = SettingsOf(line) == settings;
            close(line);
            function = ReadText(folder / "failed");
            SCOPED_TRACE(Format("%s, number %d (%s) fails", command[0].c_str(), k, function.c_str()));
            ASSERT_NE(function, "") << run.output;
            // on a slow machine it gives up by itself
            if (function == "none" && run.status != 0 && !isUnder) {
                ASSERT_LT(++tooSlow, 50) << run.output;
                function.clear();
                k -= step;
                continue;
            }
            EXPECT_GE(run.status, 0) << "ended by a signal\n" << run.output;
            EXPECT_NE(run.status, 77) << "valgrind has found something";
            const bool isSound = isPortRestored && (function != "flock" || run.status == 0);
            EXPECT_TRUE(isSound || (how != "calls once" && !isMemory));
            // what tells it needs no memory
            const bool isTold = run.output.find(Failed(run.status)) != std::string::npos;
            EXPECT_TRUE(run.status == 0 || !isMemory || isTold) << run.output;
            check(run, ecr.Finish().output);
            injected[function]++;
        }
        functions.insert(functions.end(), {"open", "close", "pipe2", "fstat", "read", "write", "fcntl",
                                           "flock", "poll", "tcgetattr", "tcsetattr", "fopen", "fclose"});
        if (how != "calls once") functions = {isMemory ? "malloc" : "write"};
        for (const char* called : functions) EXPECT_TRUE(isUnder || injected[called] > 0) << called;
    }

    std::map<std::string, int> injected;

private:
    static std::string SettingsOf(int line) {
        termios now{};
        EXPECT_EQ(tcgetattr(line, &now), 0);
        return Format("%x %x %x %x", now.c_iflag, now.c_oflag, now.c_cflag, now.c_lflag);
    }
};

const char* const ways[] = {"calls once", "calls same", "calls all", "malloc once", "malloc same"};
INSTANTIATE_TEST_SUITE_P(EachWay, FailEachCallTest, testing::ValuesIn(ways),
                         [](const auto& way) { return ReplaceAll(way.param, " ", "_"); });

}  // namespace

TEST_P(FailEachCallTest, ReadNeverCallsAnIncompleteFileComplete) {
    Store();
    FailEach(
        {"Read", "3", back}, {"fsync", "ftruncate"}, [&] { WriteText(back, "stale"); },
        [&](const RunResult& run, const std::string&) {
            EXPECT_TRUE(run.status != 0 || ReadText(back) == records);
            EXPECT_EQ(Stored(), records);
        });
}

TEST_P(FailEachCallTest, SendNeverCallsAnIncompleteSectionComplete) {
    std::string text;
    int number = 0;
    FailEach(
        {"ClearAndSend", "3", sent, "/ResultFile=" + folder / "result"}, {"pread"},
        [&] {
            text = Format("1;\"%d\"\r\n2;\"Milk, fresh\";0.5\r\n", ++number);
            WriteText(sent, text);
        },
        [&](const RunResult& run, const std::string&) {
            EXPECT_TRUE(run.status != 0 || Stored() == text);
            EXPECT_TRUE(run.status != 0 ||
                        ReadText(folder / "result").find("\"status\":0,") != std::string::npos);
        });
}

TEST_P(FailEachCallTest, ReadAndClearNeverClearsWhatIsNotInTheFile) {
    Store();
    FailEach(
        {"ReadAndClear", "3", back}, {"rename", "ftruncate"},
        [&] {
            WriteText(back, "stale");
            WriteText(back + "~", "older");
        },
        [&](const RunResult& run, const std::string& trace) {
            const bool isCleared = trace.find("request: clear section 3") != std::string::npos;
            EXPECT_EQ(Stored(), isCleared ? "" : records);
            EXPECT_TRUE(isCleared ? ReadText(back) == records : run.status != 0) << "status " << run.status;
            EXPECT_TRUE(ReadText(back) == "stale" || ReadText(back + "~") == "stale");
            if (isCleared) Store();
        });
    // of the former content, of its place and of the report
    const bool areCallsMade = GetParam()[0] == 'c' && std::getenv("TAVO_UNDER") == nullptr;
    EXPECT_TRUE(injected["fsync"] >= 3 || !areCallsMade) << injected["fsync"];
}

TEST_F(FailingCallsTest, TakesAShortReadForNoEndOfAFile) {
    const std::string text = ReplaceAll(ManyRecords(1000, "\r\n"), ",", ";");
    WriteText(sent, text);
    for (const char* most : {"1", "15", "4096"}) {
        const Simulator ecr;
        const std::vector<std::string> variables{std::string("FAIL_SHORT=") + most};
        EXPECT_EQ(Run(variables, ecr.Tty(), {"Send", "3", sent}).status, 0);
        EXPECT_EQ(Section(ecr, "3"), text);
        EXPECT_EQ(Run(variables, ecr.Tty(), {"ReadAndClear", "3", sent}).status, 0);
        EXPECT_EQ(ReadText(sent) + ReadText(sent + "~"), text + text);
    }
}

TEST_P(FailEachCallTest, ExecuteFiscalExecutesNothingTwiceAndLeavesNothingOut) {
    WriteText(sent, "12;\"run a\"\n12;\"run b\"\n12;\"run c\"\n");
    FailEach(
        {"ExecuteFiscal", sent}, {}, [] {},
        [](const RunResult& run, const std::string& trace) {
            const std::string executed = ReplaceAll(trace, "\\| run (.)\n|[^]", "$1");
            EXPECT_EQ(executed, std::string("abc").substr(0, run.status == 0 ? 3 : executed.size()));
        });
}

#endif
