#include <array>
#include <tuple>

#include "EndToEnd.h"
#include "System/Interrupt.h"

namespace {

/** Rivals for a port, signals, stalled lines and poor surroundings, for the built program. */
class RobustnessTest : public EndToEndTest {
protected:
    std::unique_ptr<Process> Start(const std::vector<std::string>& words) const {
        return std::make_unique<Process>(Words(words));
    }
    std::unique_ptr<Process> StartClear(const std::string& tty) const {
        return Start({"clear", "3", "/TTY=" + tty});
    }
};

/**
 * Returns when the program waits in a call with these first arguments, as /proc shows them behind the call's
 * number, which is another one on another machine.
 */
void WaitForCall(const Process& process, const std::string& arguments) {
    const std::string path = "/proc/" + std::to_string(process.GetId()) + "/syscall";
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (std::string call; call.compare(0, arguments.size(), arguments) != 0; std::this_thread::yield()) {
        call = ReadText(path);
        call.erase(0, call.find(' '));
        ASSERT_LT(std::chrono::steady_clock::now(), end) << "it waits elsewhere, in" << call;
    }
}
const char* const sleeping = " 0x0 0x0 ";  // by the clock, for a time
const char* const writing = " 0x1 ";       // to standard output

/** Lines in an order in which each pivot of the sort, the middle one, is the largest key left. */
std::string WorstOrder(size_t count) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < count; i++) {
        lines.push_back(std::to_string(i + 1) + ",1\n");
        std::swap(lines[i], lines[i / 2]);
    }
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

}  // namespace

TEST_F(RobustnessTest, LetsOneOfSeveralRivalsWorkAndTurnsTheOthersAway) {
    const Simulator ecr({"--baud", "1200", "--wait", "10"});
    const std::string link = folder / "port";  // names the same device
    symlink(("/dev/" + ecr.Tty()).c_str(), link.c_str());
    std::vector<std::unique_ptr<Process>> rivals;
    while (rivals.size() < 10) rivals.push_back(StartClear(rivals.size() % 2 == 0 ? ".." + link : ecr.Tty()));
    int working = 0;
    for (const auto& rival : rivals) {
        const RunResult result = rival->Finish();
        if (result.status == 0 && ++working == 1) continue;
        EXPECT_EQ(result.output, "\nAnother application is working now with ECR\n" + Failed(16));
    }
    EXPECT_EQ(working, 1);
}

TEST_F(RobustnessTest, EndsInOrderBySignalWhateverItWaitsFor) {
    const char* const pause = "in the recovery pause";
    for (const auto& [state, signal, answer] : {std::tuple("waiting for an acknowledgement", SIGTERM, ""),
                                                {"waiting for an acknowledgement", SIGQUIT, ""},
                                                {"inside a frame", SIGINT, "06 02 20 0B"},
                                                {"between records", SIGHUP, "06 02 20 0B 01 00 00 2A 30 03"},
                                                {pause, SIGTERM, ""}}) {
        SCOPED_TRACE(state);
        const PseudoTerminal ecr;
        const termios before = ecr.Settings();
        const auto run = Start({"read", "3", folder / "a.csv", "/TTY=" + ecr.Tty(), "/EcrRecoveryTime=99",
                                "/RetryCount=5", "/SerialProtocolRetryCount=1", "/EcrOperationMaxTime=25000",
                                Format("/SerialProtocolResponseMaxTime=%d", state == pause ? 1 : 25000)});
        ecr.TakeFrame();
        ecr.Send(answer, true);
        if (state == pause) WaitForCall(*run, sleeping);
        const auto start = std::chrono::steady_clock::now();
        run->Signal(signal);
        const RunResult result = run->Finish();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        EXPECT_EQ(result.status, -signal);
        const std::string message = "Interrupted by signal " + std::to_string(signal) + "\n";
        EXPECT_NE(result.output.find("\n" + message + Failed(128 + signal)), std::string::npos)
            << result.output;
        const std::string log =
            "^\n\nI/O statistics : OUT frames = [^]*" + message + "Completed with errors\n$";
        EXPECT_NE(ListMatches(TakeLog(), log, "$&"), "");
        EXPECT_EQ(ecr.Settings().c_lflag, before.c_lflag);
    }
}

TEST_F(RobustnessTest, EndsBySignalThoughNobodyReadsItsOutput) {
    std::string bad;
    for (int i = 0; i < 5000; i++) bad += "bad\n";  // each a line of output, more than a pipe holds
    const PseudoTerminal ecr;
    const auto run = Start({"send", "3", File("a.csv", bad), "/TTY=" + ecr.Tty()});
    const std::string status = "/proc/" + std::to_string(run->GetId()) + "/stat";
    WaitForCall(*run, writing);
    run->Signal(SIGTERM);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (ReadText(status).find(") Z ") == std::string::npos && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_LT(std::chrono::steady_clock::now(), end);
    EXPECT_EQ(run->Finish().status, -SIGTERM);
}

TEST_F(RobustnessTest, EndsWithAStatusAsTheFirstProcessOfAContainer) {
    if (*EMULATOR != '\0') GTEST_SKIP() << "an emulator waits there for its own end by the signal, for ever";
    const std::vector<std::string> alone{"/usr/bin/unshare", "--pid", "--fork", "--map-root-user"};
    std::vector<std::string> words = alone;
    words.push_back("/bin/true");
    if (RunProgram(words).status != 0) GTEST_SKIP() << "this machine lets nobody make namespaces";
    const PseudoTerminal ecr;
    words = Words({"clear", "3", "/TTY=" + ecr.Tty()});
    words.insert(words.begin(), alone.begin(), alone.end());
    Process container(words);
    ecr.TakeFrame();
    const std::string id = std::to_string(container.GetId());
    kill(std::stoi(ReadText("/proc/" + id + "/task/" + id + "/children")), SIGTERM);
    EXPECT_EQ(container.Finish().status, 128 + SIGTERM);
}

TEST_F(RobustnessTest, IsHardenedAsThePackageIs) {
#ifndef TAVO_HARDENED
    GTEST_SKIP() << "a build for tests only";
#endif
    for (const std::string program : programs) {
        const std::string elf =
            RunProgram({"/bin/sh", "-c", "readelf -Whld --dyn-syms '" + program + "'"}).output;
        for (const char* sign :
             {"Flags: NOW PIE", "GNU_RELRO", "BIND_NOW", "__stack_chk_fail", "__vsnprintf_chk"})
            EXPECT_NE(elf.find(sign), std::string::npos) << program << ": " << sign;
    }
}

TEST_F(RobustnessTest, TakesASignalSentTwiceForOneAndALaterOneForAnother) {
    const auto raise = [](int pauseMs) {
        CatchInterrupts();
        std::raise(SIGTERM);
        std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
        std::raise(SIGTERM);
        _exit(GetInterrupt());
    };
    EXPECT_EXIT(raise(0), testing::ExitedWithCode(SIGTERM), "");  // as timeout(1) does
    EXPECT_EXIT(raise(1100), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(RobustnessTest, LeavesAFreePortBehindWhenItIsKilledAndBoundsALineThatStallsWhenAsked) {
    const PseudoTerminal ecr;
    const auto holder = StartClear(ecr.Tty());
    ecr.TakeFrame();
    EXPECT_EQ(StartClear(ecr.Tty())->Finish().status, 16);
    holder->Signal(SIGKILL);
    EXPECT_EQ(holder->Finish().status, -SIGKILL);
    const auto run = Start({"clear", "3", "/TTY=" + ecr.Tty(), "/ComStallMaxTime=100",
                            "/EcrOperationMaxTime=100", "/SerialProtocolRetryCount=1"});
    ecr.TakeFrame();
    ecr.Send("06 02 20 0B");  // an answer that ends in the middle
    EXPECT_EQ(Told(run->Finish()), notResponding + Failed(5));
    // more than a pseudo-terminal takes from a writer that nobody reads; the other setting bounds that, too
    EXPECT_EQ(
        Output({"clear", "3", "/TTY=" + ecr.Tty(), "/LineQuietTime=10", "/Password=" + std::string(900, 'x'),
                "/SerialProtocolRetryCount=100", "/SerialProtocolResponseMaxTime=1"}),
        notResponding + Failed(5));
}

TEST_F(RobustnessTest, ServesManyRegistersWithOneLog) {
    constexpr size_t count = 32;
    const std::string file = File("a.csv", ManyRecords(20, "\r\n"));
    std::array<Simulator, count> registers;
    std::vector<std::unique_ptr<Process>> runs;
    runs.reserve(count);
    for (const Simulator& ecr : registers)  // every other run takes its own lines back at its end
        runs.push_back(Start(
            {"send", "3", file, "/TTY=" + ecr.Tty(), "/StandardLog=" + std::to_string(runs.size() % 2)}));
    for (const auto& run : runs) EXPECT_EQ(run->Finish().status, 0);
    const std::string log = TakeLog();
    const char* const lines = "(I/O statistics : OUT frames = 22, IN frames = 21|Completed OK|)\n";
    EXPECT_EQ(ReplaceAll(log, lines, ""), "");
    const std::string others = ReplaceAll(log, "Completed OK\n", "");
    EXPECT_GE(log.size() - others.size(), count / 2 * sizeof "Completed OK");
}

TEST_F(RobustnessTest, WorksInPoorSurroundings) {
    const Simulator ecr;
    const std::string records = ManyRecords(2, "\r\n");
    /** The run behind a shell's words and before others; its exit status. */
    const auto status = [&](const std::string& before, std::vector<std::string> words,
                            const std::string& behind) {
        words.push_back("/TTY=" + ecr.Tty());
        return RunInShell(before, Words(words), behind).status;
    };
    const std::vector<std::string> send{"send", "3", File("a.csv", records)};
    // no standard descriptors, no environment, a current folder that is gone
    const std::string poor = "umask 077; cd $(mktemp -d); rmdir $PWD; exec env -i";
    EXPECT_EQ(status(poor, send, " <&- >&- 2>&-"), 0);
    EXPECT_EQ(status(poor, {"read", "3", folder / "b.csv"}, " <&- >&- 2>&-"), 0);
    EXPECT_EQ(ReadText(folder / "b.csv"), records);
    EXPECT_EQ(TakeLog().find("\n\nI/O statistics : OUT frames = 4, IN frames = 3\nCompleted OK\n"), 0u);
    EXPECT_EQ(status("", send, " > /dev/full"), 0);
    const std::string large = File("large.csv", ManyRecords(300, "\r\n"));
    EXPECT_EQ(status("", {"send", "4", large}, ""), 0);
    EXPECT_EQ(status("ulimit -f 4;", {"read", "4", folder / "c.csv"}, ""), 13);  // 2 KiB
    // nobody reads the progress
    status("{ sleep 0.1;", send, "; echo $? > " + folder / "status; } | true");
    EXPECT_EQ(ReadText(folder / "status"), "0\n");
    // little stack and time, for many duplicates, too
    std::string worst = WorstOrder(10'000);
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
    WaitForCall(*run, sleeping);
    EXPECT_EQ(Output(Simulator(), {"ReadAndClear", "3", report, "/ResultFile=" + folder / "result"}),
              "File '" + report + "' is being written by another run\n" + Failed(13));
    // under an emulator it is that which holds it
    EXPECT_NE(ListMatches(ReadText(folder / "result"), "\"hint\":\"held by [^,]*, process ", "$&"), "");
}

TEST_F(RobustnessTest, WaitsForAPortAsLongAsItIsTold) {
    const PseudoTerminal ecr;
    const auto holder = Start({"clear", "3", "/TTY=" + ecr.Tty()});
    ecr.TakeFrame();
    const auto next = Start({"clear", "3", "/TTY=" + ecr.Tty(), "/PortWaitTime=20",
                             "/SerialProtocolRetryCount=1", "/SerialProtocolResponseMaxTime=1"});
    WaitForCall(*next, sleeping);
    holder->Signal(SIGKILL);
    EXPECT_EQ(next->Finish().status, 5);
}

TEST_F(RobustnessTest, EndsBySignalWhileItSorts) {
    const PseudoTerminal ecr;
    const auto run = Start({"send", "3", File("a.csv", WorstOrder(60'000)), "/TTY=" + ecr.Tty()});
    clockid_t processorTime{};
    ASSERT_EQ(clock_getcpuclockid(run->GetId(), &processorTime), 0);
    // after 0.2 s the lines are read, and the sorting takes several times as much
    for (timespec used{}; used.tv_sec == 0 && used.tv_nsec < 200'000'000; std::this_thread::yield())
        clock_gettime(processorTime, &used);
    run->Signal(SIGTERM);
    const RunResult result = run->Finish();
    EXPECT_EQ(result.status, -SIGTERM);
    EXPECT_EQ(result.output.find("Sending"), std::string::npos);
}
