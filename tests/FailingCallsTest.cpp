#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

#include "EndToEnd.h"

namespace {

/** The k-th allocation or the k-th other call fails, alone or with later ones. */
constexpr struct {
    const char* among;
    const char* mode;
    int step;  // of k, unless all are asked for: the program allocates often
} failures[] = {{"calls", "once", 1},
                {"calls", "same", 1},
                {"calls", "all", 1},
                {"malloc", "once", 5},
                {"malloc", "same", 5}};

/** Runs of the program in which one call after the other fails. */
class FailingCallsTest : public EndToEndTest {
protected:
    void SetUp() override {
#ifdef __SANITIZE_ADDRESS__
        GTEST_SKIP() << "a sanitizer allows no library in front of its own";
#endif
        // a setting whose loss is not seen by itself: with another delimiter the file looks as good
        ini = File("TAVO.ini", "[Common]\nDelimiter=;\n");
    }

    /** Runs the command for k = 1, 2, 3, ... until it ends before the k-th call. */
    void FailEach(const std::vector<std::string>& command, const std::function<void()>& prepare,
                  const std::function<void(const RunResult& run, const std::string& trace)>& check) {
        const bool isAll = std::getenv("TAVO_ALL_CALLS") != nullptr;
        // valgrind, which has an allocator of its own and takes its time
        const bool isUnder = std::getenv("TAVO_UNDER") != nullptr;
        for (const auto& [among, mode, step] : failures) {
            if (isUnder && among == std::string("malloc")) continue;
            std::string function;
            for (int k = 1; function != "none"; k += isAll ? 1 : isUnder ? 9 : step) {
                prepare();
                Simulator ecr({"--trace", "--once", "--data", folder / "register"});
                // held open, so that the register hangs up after the run, and after the last byte of it
                const int line = open(("/dev/" + ecr.Tty()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
                const std::vector<unsigned> settings = SettingsOf(line);
                std::vector<std::string> words = Words(command);
                words.insert(words.begin(),
                             {"/usr/bin/env", std::string("LD_PRELOAD=") + FAILING_CALLS,
                              "FAIL_REPORT=" + folder / "failed", std::string("FAIL_AMONG=") + among,
                              std::string("FAIL_MODE=") + mode, "FAIL_AT=" + std::to_string(k)});
                words.insert(words.end(),
                             {"/TTY=" + ecr.Tty(), "/EcrOperationMaxTime=100", "/EcrCommMaxTime=100",
                              "/ComStallMaxTime=200", "/SerialProtocolResponseMaxTime=100",
                              "/SerialProtocolRetryCount=2"});
                std::remove((folder / "failed").c_str());
                const RunResult run = RunProgram(words);
                const bool isPortRestored = SettingsOf(line) == settings;
                close(line);
                function = ReadText(folder / "failed");
                SCOPED_TRACE(Format("%s: of %s, number %d (%s) fails, %s", command[0].c_str(), among, k,
                                    function.c_str(), mode));
                ASSERT_NE(function, "") << run.output;
                EXPECT_GE(run.status, 0) << "ended by a signal\n" << run.output;
                EXPECT_NE(run.status, 77) << "valgrind has found something";
                EXPECT_TRUE(isPortRestored || mode != std::string("once"));
                // what tells it needs no memory
                const std::string told =
                    "Completed with errors\nReturn value " + std::to_string(run.status) + "\n";
                EXPECT_TRUE(run.status == 0 || among != std::string("malloc") ||
                            run.output.find(told) != std::string::npos)
                    << run.output;
                check(run, ecr.Finish().output);
                injected[function]++;
            }
        }
        ReportInjected();
    }

    /** Runs in which nothing fails: they succeed at once, whatever the run before has left behind. */
    void Store() {
        const RunResult run = Tavo(Simulator({"--data", folder / "register"}), {"Send", "3", sent});
        EXPECT_EQ(run.status, 0) << run.output;
    }
    std::string Stored() { return Section(Simulator({"--data", folder / "register"}), "3"); }

    void ExpectInjected(const char* function) {
        EXPECT_TRUE(injected[function] > 0 || std::getenv("TAVO_UNDER") != nullptr) << function;
    }

    std::map<std::string, int> injected;
    const std::string records = "1;\"Bread\";1.25\r\n2;\"Milk, fresh\";0.5\r\n3;\"Tea\";3\r\n";
    const std::string sent = File("sent.csv", records);
    const std::string back = folder / "back.csv";

private:
    static std::vector<unsigned> SettingsOf(int line) {
        termios settings{};
        EXPECT_EQ(tcgetattr(line, &settings), 0);
        return {settings.c_iflag, settings.c_oflag, settings.c_cflag, settings.c_lflag,
                cfgetospeed(&settings)};
    }

    /** Every function that the run of any command calls has failed at least once. */
    void ReportInjected() {
        int count = -injected["none"];
        std::string text;
        for (const auto& [function, times] : injected) {
            count += times;
            if (function != "none") text += " " + function + " " + std::to_string(times);
        }
        std::printf("%d failures injected:%s\n", count, text.c_str());
        for (const char* function : {"open", "close", "pipe2", "fstat", "read", "write", "ftruncate", "flock",
                                     "poll", "tcgetattr", "tcsetattr", "fopen", "fclose", "malloc"})
            ExpectInjected(function);
    }
};

}  // namespace

TEST_F(FailingCallsTest, ReadNeverCallsAnIncompleteFileComplete) {
    Store();
    FailEach(
        {"Read", "3", back}, [&] { WriteText(back, "stale"); },
        [&](const RunResult& run, const std::string&) {
            EXPECT_TRUE(run.status != 0 || ReadText(back) == records);
            EXPECT_EQ(Stored(), records);
        });
    ExpectInjected("fsync");
}

TEST_F(FailingCallsTest, SendNeverCallsAnIncompleteSectionComplete) {
    std::string text;
    int number = 0;
    FailEach(
        {"Send", "3", sent},
        [&] {
            const std::string name = "$1;\"" + std::to_string(++number) + " ";
            text = std::regex_replace(records, std::regex("(\\d);\""), name);
            WriteText(sent, text);
        },
        [&](const RunResult& run, const std::string&) {
            const std::string stored = Stored();
            EXPECT_TRUE(run.status != 0 || stored == text) << stored;
        });
    ExpectInjected("pread");
}

TEST_F(FailingCallsTest, ReadAndClearNeverClearsWhatIsNotInTheFile) {
    Store();
    FailEach(
        {"ReadAndClear", "3", back}, [&] { WriteText(back, "stale"); },
        [&](const RunResult& run, const std::string& trace) {
            const bool isCleared = trace.find("request: clear section 3") != std::string::npos;
            EXPECT_EQ(Stored(), isCleared ? "" : records);
            EXPECT_TRUE(isCleared ? ReadText(back) == records : run.status != 0) << "status " << run.status;
            EXPECT_TRUE(ReadText(back) == "stale" || ReadText(back + "~") == "stale");
            if (isCleared) Store();
        });
    ExpectInjected("fsync");
}

TEST_F(FailingCallsTest, TakesAShortReadForNoEndOfAFile) {
    const std::string text = std::regex_replace(ManyRecords(1000, "\r\n"), std::regex(","), ";");
    WriteText(sent, text);
    for (const char* most : {"1", "15", "4096"}) {
        const Simulator ecr;
        const auto run = [&](const std::vector<std::string>& command) {
            std::vector<std::string> words = Words(command);
            words.insert(words.begin(),
                         {"/usr/bin/env", std::string("LD_PRELOAD=") + FAILING_CALLS,
                          "FAIL_REPORT=" + folder / "failed", std::string("FAIL_SHORT=") + most});
            words.push_back("/TTY=" + ecr.Tty());
            return RunProgram(words).status;
        };
        EXPECT_EQ(run({"Send", "3", sent}), 0);
        EXPECT_EQ(Section(ecr, "3"), text);
        EXPECT_EQ(run({"ReadAndClear", "3", sent}), 0);
        EXPECT_EQ(ReadText(sent) + ReadText(sent + "~"), text + text);
    }
}

TEST_F(FailingCallsTest, ExecuteFiscalExecutesNothingTwiceAndLeavesNothingOut) {
    WriteText(sent, "12;\"run a\"\n12;\"run b\"\n12;\"run c\"\n");
    FailEach(
        {"ExecuteFiscal", sent}, [] {},
        [](const RunResult& run, const std::string& trace) {
            const std::regex printed("\\| run (.)\n");
            std::string executed;
            for (std::sregex_iterator i(trace.begin(), trace.end(), printed), end; i != end; ++i)
                executed += (*i)[1];
            EXPECT_EQ(executed, std::string("abc").substr(0, run.status == 0 ? 3 : executed.size()));
        });
}
