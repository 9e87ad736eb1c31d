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
    using Check = std::function<void(const RunResult& run, const std::string& trace)>;

    void SetUp() override {
#ifdef __SANITIZE_ADDRESS__
        GTEST_SKIP() << "a sanitizer allows no library in front of its own";
#endif
        // a setting whose loss is not seen by itself: with another delimiter the file looks as good
        ini = File("TAVO.ini", "[Common]\nDelimiter=;\n");
    }
    void TearDown() override { close(line); }

    /** Runs the command for k = 1, 2, 3, ... until it ends before the k-th call. */
    void FailEach(const std::vector<std::string>& command, const std::function<void()>& prepare,
                  const Check& check) {
        for (const auto& failure : failures) {
            const int step = std::getenv("TAVO_ALL_CALLS") != nullptr ? 1 : failure.step;
            std::string function;
            for (int k = 1; function != "none"; k += step) {
                prepare();
                const auto settings = GetSettings();
                std::remove((folder / "failed").c_str());
                setenv("FAIL_AMONG", failure.among, 1);
                setenv("FAIL_MODE", failure.mode, 1);
                setenv("FAIL_AT", std::to_string(k).c_str(), 1);
                const RunResult run = RunFailing(command);
                function = ReadText(folder / "failed");
                SCOPED_TRACE(command[0] + ": of " + failure.among + ", number " + std::to_string(k) + " (" +
                             function + ") fails, " + failure.mode);
                ASSERT_NE(function, "") << run.output;
                EXPECT_GE(run.status, 0) << "ended by a signal\n" << run.output;
                EXPECT_TRUE(failure.mode != std::string("once") || GetSettings() == settings)
                    << "the port was not left as it was found";
                const std::string trace = Settle();
                ASSERT_NE(trace, "") << "the simulator has ended";
                check(run, trace);
                injected[function]++;
            }
        }
        ReportInjected();
    }

    /** A run in which nothing fails: it succeeds at once, whatever the run before has left behind. */
    std::string RunWell(const std::vector<std::string>& command) {
        const RunResult run = Tavo(ecr, command);
        EXPECT_EQ(run.status, 0) << command[0] << " afterwards\n" << run.output;
        return run.output;
    }

    Simulator ecr{{"--trace"}};
    std::map<std::string, int> injected;
    const std::string records = "1;\"Bread\";1.25\r\n2;\"Milk, fresh\";0.5\r\n3;\"Tea\";3\r\n";
    const std::string sent = folder / "sent.csv";
    const std::string back = folder / "back.csv";

private:
    RunResult RunFailing(std::vector<std::string> words) {
        words.insert(words.begin(), {"/usr/bin/env", std::string("LD_PRELOAD=") + FAILING_CALLS,
                                     "FAIL_REPORT=" + folder / "failed", TAVO_PROGRAM});
        words.insert(words.end(),
                     {"/EcrOperationMaxTime=100", "/EcrCommMaxTime=100", "/ComStallMaxTime=200",
                      "/SerialProtocolResponseMaxTime=100", "/SerialProtocolRetryCount=2",
                      "/TTY=" + ecr.Tty(), "/LogFilePath=" + folder / "log", "/ConfigFilePath=" + ini});
        return RunProgram(words);
    }

    /** Waits until the register has dealt with all that was sent and has hung up; its trace since then. */
    std::string Settle() {
        // the first byte ends a frame that was cut short; the line about the second comes after all others
        const bool isWritten = write(line, "\x03\x7f", 2) == 2;
        std::string trace = isWritten ? ReadTrace("<- 7f, noise") : "";
        close(line);
        if (!trace.empty() && ReadTrace("the other side has hung up").empty()) trace.clear();
        line = OpenLine();
        return trace;
    }
    /** With the line held open the register hangs up only when it is told to and misses nothing. */
    int OpenLine() { return open(("/dev/" + ecr.Tty()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC); }

    std::vector<unsigned> GetSettings() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(line, &settings), 0);
        return {settings.c_iflag, settings.c_oflag, settings.c_cflag, settings.c_lflag,
                cfgetospeed(&settings)};
    }

    /** The trace up to the line with this text; empty when the simulator ends before. */
    std::string ReadTrace(const char* lastText) {
        std::string trace;
        for (std::string text; text.find(lastText) == std::string::npos; trace += text + "\n")
            if ((text = ecr.ReadLine()).empty()) return "";
        return trace;
    }

    /** Every function that the run of any command calls has failed at least once. */
    void ReportInjected() {
        int count = 0;
        std::string text;
        injected.erase("none");
        for (const auto& [function, times] : injected) {
            count += times;
            text += " " + function + " " + std::to_string(times);
        }
        std::printf("%d failures injected:%s\n", count, text.c_str());
        for (const char* function :
             {"open", "close", "pipe2", "fstat", "read", "write", "ftruncate", "flock", "poll", "tcgetattr",
              "tcsetattr", "fopen", "fwrite", "fflush", "fclose", "malloc"})
            EXPECT_GT(injected[function], 0) << function;
    }

    int line = OpenLine();
};

}  // namespace

TEST_F(FailingCallsTest, ReadNeverCallsAnIncompleteFileComplete) {
    RunWell({"Send", "3", File("sent.csv", records)});
    FailEach(
        {"Read", "3", back}, [&] { WriteText(back, "stale"); },
        [&](const RunResult& run, const std::string&) {
            EXPECT_TRUE(run.status != 0 || ReadText(back) == records);
            EXPECT_EQ(Section(ecr, "3"), records);
        });
    EXPECT_GT(injected["fsync"], 0);
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
            const std::string section = Section(ecr, "3");
            EXPECT_TRUE(run.status != 0 || section == text) << section;
        });
    EXPECT_GT(injected["pread"], 0);
}

TEST_F(FailingCallsTest, ReadAndClearNeverClearsWhatIsNotInTheFile) {
    RunWell({"Send", "3", File("sent.csv", records)});
    FailEach(
        {"ReadAndClear", "3", back}, [&] { WriteText(back, "stale"); },
        [&](const RunResult& run, const std::string& trace) {
            const bool isCleared = trace.find("request: clear section 3") != std::string::npos;
            EXPECT_EQ(Section(ecr, "3"), isCleared ? "" : records);
            EXPECT_TRUE(run.status != 0 || isCleared);
            if (!isCleared) return;
            EXPECT_EQ(ReadText(back), records) << "cleared, status " << run.status;
            RunWell({"Send", "3", sent});
        });
    EXPECT_GT(injected["fsync"], 0);
}

TEST_F(FailingCallsTest, ExecuteFiscalExecutesNothingTwiceAndLeavesNothingOut) {
    int number = 0;
    FailEach(
        {"ExecuteFiscal", sent},
        [&] {
            const std::string command = "12;\"run " + std::to_string(++number) + " ";
            WriteText(sent, command + "a\"\n" + command + "b\"\n" + command + "c\"\n");
        },
        [&](const RunResult& run, const std::string& trace) {
            const std::regex printed("\\| run " + std::to_string(number) + " (.)\n");
            std::string executed;
            for (std::sregex_iterator i(trace.begin(), trace.end(), printed), end; i != end; ++i)
                executed += (*i)[1];
            EXPECT_EQ(executed, std::string("abc").substr(0, run.status == 0 ? 3 : executed.size()));
            RunWell({"ReadFiscalStatus", "/dev/null"});
        });
}
