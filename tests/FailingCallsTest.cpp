#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <map>

#include "EndToEnd.h"
#include "Format.h"

// The sanitizers bring an allocator of their own, which allows no library in front of it.
#if defined(__SANITIZE_ADDRESS__)
#define HAS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HAS_SANITIZER 1
#endif
#endif

namespace {

/** The k-th allocation or the k-th other call fails, alone or with later ones. */
struct Failure {
    const char* among;
    const char* mode;
    int step;  // of k, unless all are asked for: the program allocates often
};
constexpr Failure failures[] = {{"calls", "once", 1},
                                {"calls", "same", 1},
                                {"calls", "all", 1},
                                {"malloc", "once", 5},
                                {"malloc", "same", 5}};

/** A register that hangs up only when it is told to: with the line held open it misses nothing of a short
 * run. */
class ObservedSimulator {
public:
    ObservedSimulator() : m_simulator({"--trace"}) { Open(); }
    ObservedSimulator(const ObservedSimulator&) = delete;
    ObservedSimulator& operator=(const ObservedSimulator&) = delete;
    ~ObservedSimulator() { close(m_line); }

    Simulator& Get() { return m_simulator; }

    /** Waits until the register has dealt with all that was sent and has hung up; its trace since the last
     * time. */
    std::string Settle() {
        // the first byte ends a frame that was cut short; the line about the second one comes after all
        // others
        const bool isWritten = write(m_line, "\x03\x7f", 2) == 2;
        std::string trace = isWritten ? ReadTrace("<- 7f, noise") : "";
        close(m_line);
        if (!trace.empty() && ReadTrace("the other side has hung up").empty()) trace.clear();
        Open();
        return trace;
    }

    /** Of the line, as stty shows them. */
    std::string GetSettings() const {
        termios settings{};
        EXPECT_EQ(tcgetattr(m_line, &settings), 0);
        return Format("iflag %x, oflag %x, cflag %x, lflag %x, speed %u", settings.c_iflag, settings.c_oflag,
                      settings.c_cflag, settings.c_lflag, cfgetospeed(&settings));
    }

private:
    void Open() { m_line = open(("/dev/" + m_simulator.Tty()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC); }

    /** The trace up to the line with this text; empty when the simulator ends before. */
    std::string ReadTrace(const char* lastText) {
        std::string trace;
        for (std::string line; line.find(lastText) == std::string::npos;) {
            line = m_simulator.GetProcess().ReadLine();
            if (line.empty()) return "";
            trace += line + "\n";
        }
        return trace;
    }

    Simulator m_simulator;
    int m_line = -1;
};

/** Runs of the program in which one call after the other fails. */
class FailingCallsTest : public EndToEndTest {
protected:
    using Check = std::function<void(const RunResult& run, const std::string& trace)>;

    void SetUp() override {
#ifdef HAS_SANITIZER
        GTEST_SKIP() << "a sanitizer allows no library in front of its own";
#endif
        // a setting whose loss is not seen by itself: with another delimiter the file looks as good
        ini = File("TAVO.ini", "[Common]\nDelimiter=;\n");
    }

    /** Runs the command for k = 1, 2, 3, ... until it ends before the k-th call. */
    void FailEach(const std::vector<std::string>& command, const std::function<void()>& prepare,
                  const Check& check) {
        for (const Failure& failure : failures) {
            const int step = std::getenv("TAVO_ALL_CALLS") != nullptr ? 1 : failure.step;
            std::string function;
            for (int k = 1; function != "none"; k += step) {
                prepare();
                const std::string settings = ecr.GetSettings();
                const RunResult run = RunFailing(command, failure, k);
                function = ReadText(folder / "failed");
                SCOPED_TRACE(command[0] + ": of " + failure.among + ", number " + std::to_string(k) + " (" +
                             function + ") fails, " + failure.mode);
                ASSERT_NE(function, "") << run.output;
                EXPECT_GE(run.status, 0) << "ended by a signal\n" << run.output;
                if (failure.mode == std::string("once")) {
                    EXPECT_EQ(ecr.GetSettings(), settings) << "the port was not left as it was found";
                }
                const std::string trace = ecr.Settle();
                ASSERT_NE(trace, "") << "the simulator has ended";
                check(run, trace);
                injected[function]++;
            }
        }
        ReportInjected();
    }

    RunResult RunFailing(const std::vector<std::string>& command, const Failure& failure, int k) {
        std::remove((folder / "failed").c_str());
        std::vector<std::string> words{"/usr/bin/env",
                                       std::string("LD_PRELOAD=") + FAILING_CALLS,
                                       std::string("FAIL_AMONG=") + failure.among,
                                       std::string("FAIL_MODE=") + failure.mode,
                                       "FAIL_AT=" + std::to_string(k),
                                       "FAIL_REPORT=" + folder / "failed",
                                       TAVO_PROGRAM};
        words.insert(words.end(), command.begin(), command.end());
        words.insert(words.end(),
                     {"/EcrOperationMaxTime=100", "/EcrCommMaxTime=100", "/ComStallMaxTime=200",
                      "/SerialProtocolResponseMaxTime=100", "/SerialProtocolRetryCount=2",
                      "/TTY=" + ecr.Get().Tty(), "/LogFilePath=" + folder / "log", "/ConfigFilePath=" + ini});
        return RunProgram(words);
    }

    /** A run in which nothing fails: it succeeds at once, whatever the run before has left behind. */
    std::string RunWell(const std::vector<std::string>& command) {
        const RunResult run = Tavo(ecr.Get(), command);
        EXPECT_EQ(run.status, 0) << command[0] << " afterwards\n" << run.output;
        return run.output;
    }

    /** The section's records, read by a run in which nothing fails. */
    std::string ReadSection() {
        const std::string output = RunWell({"Read", "3", "/dev/stdout"});
        const size_t end = output.find("Records read: ");
        EXPECT_EQ(output.substr(0, request.size()), request);
        return end == std::string::npos ? "not read" : output.substr(request.size(), end - request.size());
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

    ObservedSimulator ecr;
    std::map<std::string, int> injected;
    const std::string records = "1;\"Bread\";1.25\r\n2;\"Milk, fresh\";0.5\r\n3;\"Tea\";3\r\n";
};

}  // namespace

TEST_F(FailingCallsTest, ReadNeverCallsAnIncompleteFileComplete) {
    RunWell({"Send", "3", File("plu.csv", records)});
    const std::string back = folder / "back.csv";
    FailEach(
        {"Read", "3", back}, [&] { WriteText(back, "stale"); },
        [&](const RunResult& run, const std::string&) {
            if (run.status == 0) {
                EXPECT_EQ(ReadText(back), records);
            }
            EXPECT_EQ(ReadSection(), records);
        });
    EXPECT_GT(injected["fsync"], 0);
}

TEST_F(FailingCallsTest, SendNeverCallsAnIncompleteSectionComplete) {
    const std::string plu = folder / "plu.csv";
    std::string text;
    int number = 0;
    FailEach(
        {"Send", "3", plu},
        [&] {
            text =
                std::regex_replace(records, std::regex("(\\d);\""), "$1;\"" + std::to_string(++number) + " ");
            WriteText(plu, text);
        },
        [&](const RunResult& run, const std::string&) {
            const std::string section = ReadSection();
            if (run.status == 0) {
                EXPECT_EQ(section, text);
            }
        });
    EXPECT_GT(injected["pread"], 0);
}

TEST_F(FailingCallsTest, ReadAndClearNeverClearsWhatIsNotInTheFile) {
    const std::string plu = File("plu.csv", records);
    const std::string back = folder / "back.csv";
    RunWell({"Send", "3", plu});
    FailEach(
        {"ReadAndClear", "3", back}, [&] { WriteText(back, "stale"); },
        [&](const RunResult& run, const std::string& trace) {
            const bool isCleared = trace.find("request: clear section 3") != std::string::npos;
            EXPECT_EQ(ReadSection(), isCleared ? "" : records);
            if (run.status == 0) {
                EXPECT_TRUE(isCleared);
            }
            if (!isCleared) return;
            EXPECT_EQ(ReadText(back), records) << "cleared, status " << run.status;
            RunWell({"Send", "3", plu});
        });
    EXPECT_GT(injected["fsync"], 0);
}

TEST_F(FailingCallsTest, ExecuteFiscalExecutesNothingTwiceAndLeavesNothingOut) {
    const std::string commands = folder / "commands.csv";
    int number = 0;
    FailEach(
        {"ExecuteFiscal", commands},
        [&] {
            const std::string line = "12;\"run " + std::to_string(++number) + " ";
            WriteText(commands, line + "a\"\n" + line + "b\"\n" + line + "c\"\n");
        },
        [&](const RunResult& run, const std::string& trace) {
            const std::regex printed("\\| run " + std::to_string(number) + " (.)\n");
            std::string executed;
            for (std::sregex_iterator i(trace.begin(), trace.end(), printed), end; i != end; ++i)
                executed += (*i)[1];
            EXPECT_EQ(executed, std::string("abc").substr(0, executed.size()));
            if (run.status == 0) {
                EXPECT_EQ(executed, "abc") << run.output;
            }
            RunWell({"ReadFiscalStatus", "/dev/null"});
        });
}
