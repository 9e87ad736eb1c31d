#include <sys/syscall.h>

#include <chrono>
#include <memory>

#include "EndToEnd.h"
#include "Interrupt.h"

namespace {

/** Rivals for a port, signals, stalled lines and poor surroundings, for the built program. */
class RobustnessTest : public EndToEndTest {
protected:
    std::unique_ptr<Process> Start(const std::vector<std::string>& words) const {
        return std::make_unique<Process>(Words(words));
    }
};

/** Returns when the program is in this call: what /proc shows of its number and arguments begins so. */
void WaitForCall(pid_t process, const std::string& call) {
    const std::string path = "/proc/" + std::to_string(process) + "/syscall";
    while (ReadText(path).compare(0, call.size(), call) != 0) std::this_thread::yield();
}

/** What readelf tells of the program. */
std::string ElfOf(const char* program) {
    return RunProgram({"/usr/bin/readelf", "-Whld", "--dyn-syms", program}).output;
}

}  // namespace

TEST_F(RobustnessTest, LetsOneOfSeveralRivalsWorkAndTurnsTheOthersAway) {
    for (const size_t count : {size_t{2}, size_t{10}}) {
        const Simulator ecr({"--baud", "1200", "--wait", "10"});
        const std::string link = folder / "port" + std::to_string(count);  // names the same device
        symlink(("/dev/" + ecr.Tty()).c_str(), link.c_str());
        std::vector<std::unique_ptr<Process>> rivals;
        while (rivals.size() < count)
            rivals.push_back(
                Start({"clear", "3", "/TTY=" + (rivals.size() % 2 == 0 ? ".." + link : ecr.Tty())}));
        int working = 0;
        for (const auto& rival : rivals) {
            const RunResult result = rival->Finish();
            if (result.status == 0)
                working++;
            else
                EXPECT_EQ(result.output, "\nAnother application is working now with ECR\n" + Failed(16));
        }
        EXPECT_EQ(working, 1);
    }
}

TEST_F(RobustnessTest, LeavesAFreePortBehindWhenItIsKilled) {
    const PseudoTerminal ecr;
    const auto holder = Start({"clear", "3", "/TTY=" + ecr.Tty()});
    ecr.TakeFrame();
    EXPECT_EQ(Tavo({"clear", "3", "/TTY=" + ecr.Tty()}).status, 16);
    holder->Signal(SIGKILL);
    EXPECT_EQ(holder->Finish().status, -SIGKILL);
    const std::string once = "/SerialProtocolRetryCount=1";
    const RunResult next =
        Tavo({"clear", "3", "/TTY=" + ecr.Tty(), once, "/SerialProtocolResponseMaxTime=1"});
    EXPECT_EQ(next.status, 5);
}

TEST_F(RobustnessTest, EndsInOrderBySignalWhateverItWaitsFor) {
    const struct {
        const char* state;
        int signal;
        std::string answer;
        std::vector<std::string> words;
    } cases[] = {{"waiting for an acknowledgement", SIGTERM, "", {}},
                 {"waiting for an acknowledgement", SIGQUIT, "", {}},
                 {"inside a frame", SIGINT, std::string("\x06\x02\x20\x0b", 4), {}},
                 {"between records", SIGHUP, std::string("\x06\x02\x20\x0b\x01\x00\x00\x2a\x30\x03", 10), {}},
                 {"in the recovery pause",
                  SIGTERM,
                  "",
                  {"/EcrRecoveryTime=99", "/RetryCount=5", "/SerialProtocolRetryCount=1",
                   "/SerialProtocolResponseMaxTime=1"}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.state);
        const PseudoTerminal ecr;
        const termios before = ecr.Settings();
        std::vector<std::string> words{"read", "3", folder / "a.csv", "/TTY=" + ecr.Tty()};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const auto run = Start(words);
        ecr.TakeFrame();
        ecr.Send(c.answer, true);
        if (!c.words.empty()) WaitForCall(run->GetId(), std::to_string(SYS_clock_nanosleep) + " ");
        const auto start = std::chrono::steady_clock::now();
        run->Signal(c.signal);
        const RunResult result = run->Finish();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
        EXPECT_EQ(result.status, -c.signal);
        const std::string message = "Interrupted by signal " + std::to_string(c.signal) + "\n";
        EXPECT_NE(result.output.find("\n" + message + Failed(128 + c.signal)), std::string::npos)
            << result.output;
        const std::regex log("\n\nI/O statistics : OUT frames = [^]*" + message + "Completed with errors\n");
        EXPECT_TRUE(std::regex_match(TakeLog(), log));
        EXPECT_EQ(ecr.Settings().c_lflag, before.c_lflag);
    }
}

TEST_F(RobustnessTest, EndsBySignalThoughNobodyReadsItsOutput) {
    std::string bad;
    for (int i = 0; i < 5000; i++) bad += "bad\n";  // each a line of output, more than a pipe holds
    const PseudoTerminal ecr;
    const auto run = Start({"send", "3", File("a.csv", bad), "/TTY=" + ecr.Tty()});
    const std::string status = "/proc/" + std::to_string(run->GetId()) + "/stat";
    int waiting = 0;
    for (int before = -1; waiting != before || waiting == 0;
         std::this_thread::sleep_for(std::chrono::milliseconds(20)))
        before = std::exchange(waiting, run->GetWaitingOutput());
    const auto start = std::chrono::steady_clock::now();
    run->Signal(SIGTERM);
    while (ReadText(status).find(") Z ") == std::string::npos &&
           std::chrono::steady_clock::now() - start < std::chrono::seconds(5))
        std::this_thread::yield();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(run->Finish().status, -SIGTERM);
}

TEST_F(RobustnessTest, EndsWithAStatusAsTheFirstProcessOfAContainer) {
    const PseudoTerminal ecr;
    std::vector<std::string> words = Words({"clear", "3", "/TTY=" + ecr.Tty()});
    words.insert(words.begin(), {"/usr/bin/unshare", "--pid", "--fork", "--map-root-user"});
    const Process container(words);
    ecr.TakeFrame();
    const std::string id = std::to_string(container.GetId());
    kill(std::stoi(ReadText("/proc/" + id + "/task/" + id + "/children")), SIGTERM);
    EXPECT_EQ(const_cast<Process&>(container).Finish().status, 128 + SIGTERM);
}

TEST_F(RobustnessTest, IsHardenedAsThePackageIs) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "a build for tests only";
#endif
    for (const char* program : {TAVO_PROGRAM, ECRSIM_PROGRAM, TAVO_CHECK_PROGRAM}) {
        const std::string elf = ElfOf(program);
        for (const char* sign : {"DYN (Position-Independent Executable file)", "GNU_RELRO", "BIND_NOW",
                                 "__stack_chk_fail", "__vsnprintf_chk"})
            EXPECT_NE(elf.find(sign), std::string::npos) << program << ": " << sign;
    }
}

TEST_F(RobustnessTest, TakesASignalSentTwiceForOneAndALaterOneForAnother) {
    const auto raise = [](std::chrono::milliseconds pause) {
        CatchInterrupts();
        std::raise(SIGTERM);
        std::this_thread::sleep_for(pause);
        std::raise(SIGTERM);
        _exit(GetInterrupt());
    };
    EXPECT_EXIT(raise(std::chrono::milliseconds(0)), testing::ExitedWithCode(SIGTERM),
                "");  // as timeout(1) does
    EXPECT_EXIT(raise(std::chrono::milliseconds(1100)), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(RobustnessTest, BoundsALineThatStallsOnlyWhenAsked) {
    const PseudoTerminal ecr;
    const auto run = Start({"clear", "3", "/TTY=" + ecr.Tty(), "/ComStallMaxTime=100",
                            "/EcrOperationMaxTime=100", "/SerialProtocolRetryCount=1"});
    ecr.TakeFrame();
    ecr.Send(std::string("\x06\x02\x20\x0b", 4));  // an answer that ends in the middle
    EXPECT_EQ(Told(run->Finish()), notResponding + Failed(5));
    // more than a pseudo-terminal takes from a writer that nobody reads
    EXPECT_EQ(Output({"clear", "3", "/TTY=" + ecr.Tty(), "/ComStallMaxTime=10",
                      "/Password=" + std::string(900, 'x'), "/SerialProtocolRetryCount=100",
                      "/SerialProtocolResponseMaxTime=1"}),
              notResponding + Failed(5));
}

TEST_F(RobustnessTest, ServesManyRegistersWithOneLog) {
    constexpr int count = 32;
    std::string records;
    for (int i = 1; i <= 20; i++) records += std::to_string(i) + ",\"Article\"\r\n";
    const std::string file = File("a.csv", records);
    std::vector<std::unique_ptr<Simulator>> registers(count);
    for (auto& ecr : registers) ecr = std::make_unique<Simulator>();
    std::vector<std::unique_ptr<Process>> runs;
    runs.reserve(count);
    for (const auto& ecr : registers)  // every other run takes its own lines back at its end
        runs.push_back(Start(
            {"send", "3", file, "/TTY=" + ecr->Tty(), "/StandardLog=" + std::to_string(runs.size() % 2)}));
    for (const auto& run : runs) EXPECT_EQ(run->Finish().status, 0);
    std::string log = ReadText(folder / "log/TAVO.log");
    const std::regex line(
        R"((\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{3} (TAVO driver version 3.*|I/O statistics : OUT frames = 22, IN frames = 21|(Completed OK)))?\n)");
    int completed = 0;
    for (std::smatch match; std::regex_search(log, match, line, std::regex_constants::match_continuous);
         log = match.suffix())
        if (match[3].matched) completed++;
    EXPECT_EQ(log, "");
    EXPECT_GE(completed, count / 2);
}

TEST_F(RobustnessTest, WorksInPoorSurroundings) {
    const Simulator ecr;
    const std::string records = "1,\"a\"\r\n2,\"b\"\r\n";
    /** The run behind a shell's words and before others; its exit status. */
    const auto status = [&](std::string line, const std::vector<std::string>& words,
                            const std::string& behind) {
        for (const std::string& word : Words(words)) line += " " + word;
        return RunProgram({"/bin/sh", "-c", line + " /TTY=" + ecr.Tty() + behind}).status;
    };
    const std::vector<std::string> send{"send", "3", File("a.csv", records)};
    // no standard descriptors, no environment, a current folder that is gone
    const std::string poor = "umask 077; cd $(mktemp -d); rmdir $PWD; exec env -i";
    EXPECT_EQ(status(poor, send, " <&- >&- 2>&-"), 0);
    EXPECT_EQ(status(poor, {"read", "3", folder / "b.csv"}, " <&- >&- 2>&-"), 0);
    EXPECT_EQ(ReadText(folder / "b.csv"), records);
    EXPECT_EQ(TakeLog(),
              "\n\nI/O statistics : OUT frames = 4, IN frames = 3\nCompleted OK\n"
              "\n\nI/O statistics : OUT frames = 1, IN frames = 4\nCompleted OK\n");
    EXPECT_EQ(status("", send, " > /dev/full"), 0);
    const std::string large = File("large.csv", ManyRecords(300, "\r\n"));
    EXPECT_EQ(status("", {"send", "4", large}, ""), 0);
    EXPECT_EQ(status("ulimit -f 4;", {"read", "4", folder / "c.csv"}, ""), 13);  // 2 KiB
    // nobody reads the progress
    status("{ sleep 0.1;", send, "; echo $? > " + folder / "status; } | true");
    EXPECT_EQ(ReadText(folder / "status"), "0\n");
    // little stack and time for an order in which each pivot of the sort, the middle one, is the largest key
    // left, and for many duplicates
    std::vector<int> keys{1};
    for (int key = 2; key < 10'000; key++) {
        keys.push_back(key);
        std::swap(keys.back(), keys[static_cast<size_t>(key - 1) / 2]);
    }
    std::string worst;
    for (const int key : keys) worst += std::to_string(key) + ",1\n";
    const std::string limits = "ulimit -s 256; timeout 20";
    EXPECT_EQ(status(limits, {"send", "3", File("w.csv", worst), "/RecordsInPacket=0"}, ""), 0);
    for (int i = 1; i < 500'000; i++) worst += std::to_string(i) + ",1\n";
    EXPECT_EQ(status(limits, {"send", "3", File("w.csv", worst), "/RecordsInPacket=0"}, ""), 2);
}

TEST_F(RobustnessTest, KeepsAReportsFileLockedBetweenItsAttempts) {
    const PseudoTerminal dead;
    const std::string report = folder / "report.csv";
    const auto run =
        Start({"ReadAndClear", "3", report, "/TTY=" + dead.Tty(), "/RetryCount=2", "/EcrRecoveryTime=99",
               "/SerialProtocolRetryCount=1", "/SerialProtocolResponseMaxTime=1"});
    dead.TakeFrame();
    WaitForCall(run->GetId(), std::to_string(SYS_clock_nanosleep) + " ");
    EXPECT_EQ(Output(Simulator(), {"ReadAndClear", "3", report}),
              "File '" + report + "' is being written by another run\n" + Failed(13));
}

TEST_F(RobustnessTest, WaitsForAPortAsLongAsItIsTold) {
    const PseudoTerminal ecr;
    const auto holder = Start({"clear", "3", "/TTY=" + ecr.Tty()});
    ecr.TakeFrame();
    const auto next = Start({"clear", "3", "/TTY=" + ecr.Tty(), "/PortWaitTime=20",
                             "/SerialProtocolRetryCount=1", "/SerialProtocolResponseMaxTime=1"});
    WaitForCall(next->GetId(), std::to_string(SYS_clock_nanosleep) + " ");
    holder->Signal(SIGKILL);
    EXPECT_EQ(next->Finish().status, 5);
}
