#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <thread>

#include "EndToEnd.h"

namespace {

/** Rivals for a port, signals, stalled lines and poor surroundings, for the built program. */
class RobustnessTest : public EndToEndTest {
protected:
    std::vector<std::string> Words(std::vector<std::string> words) {
        words.insert(words.begin(), TAVO_PROGRAM);
        words.push_back("/LogFilePath=" + folder / "log");
        words.push_back("/ConfigFilePath=" + ini);
        return words;
    }
    std::unique_ptr<Process> Start(const std::vector<std::string>& words) {
        return std::make_unique<Process>(Words(words));
    }
};

/** Returns when the program sleeps in a pause of its own. */
void WaitForPause(const Process& process) {
    const std::string path = "/proc/" + std::to_string(process.GetId()) + "/syscall";
    const std::string nanosleep = std::to_string(SYS_clock_nanosleep) + " ";
    while (ReadText(path).compare(0, nanosleep.size(), nanosleep) != 0) std::this_thread::yield();
}

/** A register that does only what the test does. */
class SilentRegister {
public:
    SilentRegister() : m_master(posix_openpt(O_RDWR | O_NOCTTY)) {
        grantpt(m_master);
        unlockpt(m_master);
        m_slave = open(ptsname(m_master), O_RDWR | O_NOCTTY);
    }
    SilentRegister(const SilentRegister&) = delete;
    SilentRegister& operator=(const SilentRegister&) = delete;
    ~SilentRegister() {
        close(m_slave);
        close(m_master);
    }
    std::string Tty() const { return std::string(ptsname(m_master)).substr(5); }
    termios Settings() const {
        termios settings{};
        tcgetattr(m_master, &settings);
        return settings;
    }
    /** Waits for a frame of the tool. */
    void TakeFrame() const {
        char value = 0;
        while (value != 3 && read(m_master, &value, 1) == 1) continue;
    }
    /** Sends bytes and waits until the tool has taken them. */
    void Send(const std::string& bytes) const {
        EXPECT_EQ(write(m_master, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        int waiting = 1;
        while (ioctl(m_slave, FIONREAD, &waiting) == 0 && waiting > 0) std::this_thread::yield();
    }

private:
    int m_master;
    int m_slave;
};

}  // namespace

TEST_F(RobustnessTest, LetsOneOfSeveralRivalsWorkAndTurnsTheOthersAway) {
    for (const int count : {2, 10}) {
        Simulator ecr({"--baud", "1200", "--wait", "10"});
        symlink(("/dev/" + ecr.Tty()).c_str(), (folder / "port").c_str());
        const std::string link =
            "/TTY=.." + folder / "port";  // a device named through a link is the same device
        std::vector<std::unique_ptr<Process>> rivals;
        rivals.reserve(static_cast<size_t>(count));
        for (int i = 0; i < count; i++)
            rivals.push_back(Start({"clear", "3", i % 2 == 0 ? link : "/TTY=" + ecr.Tty()}));
        int working = 0;
        for (const auto& rival : rivals) {
            const RunResult result = rival->Finish();
            if (result.status == 0)
                working++;
            else
                EXPECT_EQ(result.output, "\nAnother application is working now with ECR\n" + Failed(16));
        }
        EXPECT_EQ(working, 1);
        std::remove((folder / "port").c_str());
    }
}

TEST_F(RobustnessTest, LeavesAFreePortBehindWhenItIsKilled) {
    SilentRegister ecr;
    const auto holder = Start({"clear", "3", "/TTY=" + ecr.Tty()});
    ecr.TakeFrame();
    EXPECT_EQ(Tavo({"clear", "3", "/TTY=" + ecr.Tty()}).status, 16);
    holder->Signal(SIGKILL);
    EXPECT_EQ(holder->Finish().status, -SIGKILL);
    EXPECT_EQ(Tavo({"clear", "3", "/TTY=" + ecr.Tty(), "/SerialProtocolRetryCount=1",
                    "/SerialProtocolResponseMaxTime=1"})
                  .status,
              5);
}

TEST_F(RobustnessTest, EndsInOrderBySignalWhateverItWaitsFor) {
    const std::string answerOk("\x06\x02\x20\x0b\x01\x00\x00\x2a\x30\x03", 10);
    const struct {
        const char* state;
        int signal;
        std::vector<std::string> answers;
        std::vector<std::string> words;
    } cases[] = {{"waiting for an acknowledgement", SIGTERM, {""}, {}},
                 {"inside a frame", SIGINT, {std::string("\x06\x02\x20\x0b", 4)}, {}},
                 {"between records", SIGHUP, {answerOk}, {}},
                 {"in the recovery pause",
                  SIGTERM,
                  {""},
                  {"/EcrRecoveryTime=99", "/RetryCount=5", "/SerialProtocolRetryCount=1",
                   "/SerialProtocolResponseMaxTime=1"}}};
    for (const auto& c : cases) {
        SilentRegister ecr;
        const termios before = ecr.Settings();
        std::vector<std::string> words{"read", "3", folder / "a.csv", "/TTY=" + ecr.Tty()};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const auto run = Start(words);
        ecr.TakeFrame();
        for (const std::string& answer : c.answers) ecr.Send(answer);
        if (!c.words.empty()) WaitForPause(*run);
        const auto start = std::chrono::steady_clock::now();
        run->Signal(c.signal);
        const RunResult result = run->Finish();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500)) << c.state;
        EXPECT_EQ(result.status, -c.signal) << c.state;
        EXPECT_NE(result.output.find("\nInterrupted by signal " + std::to_string(c.signal) + "\n" +
                                     Failed(128 + c.signal)),
                  std::string::npos)
            << c.state << ": " << result.output;
        const std::string log = TakeLog();
        EXPECT_NE(log.find("I/O statistics : OUT frames = "), std::string::npos) << c.state;
        EXPECT_NE(log.find("Interrupted by signal " + std::to_string(c.signal) + "\nCompleted with errors\n"),
                  std::string::npos)
            << c.state << ": " << log;
        EXPECT_EQ(ecr.Settings().c_lflag, before.c_lflag) << c.state;
    }
}

TEST_F(RobustnessTest, BoundsALineThatStallsOnlyWhenAsked) {
    SilentRegister ecr;
    const auto run = Start({"clear", "3", "/TTY=" + ecr.Tty(), "/ComStallMaxTime=100",
                            "/EcrOperationMaxTime=100", "/SerialProtocolRetryCount=1"});
    ecr.TakeFrame();
    ecr.Send(std::string("\x06\x02\x20\x0b", 4));  // an answer that ends in the middle
    const RunResult result = run->Finish();
    EXPECT_EQ(result.output, notResponding + Failed(5));

    // more than a pseudo-terminal takes from a writer that nobody reads
    const RunResult held =
        Tavo({"clear", "3", "/TTY=" + ecr.Tty(), "/ComStallMaxTime=10", "/Password=" + std::string(900, 'x'),
              "/SerialProtocolRetryCount=100", "/SerialProtocolResponseMaxTime=1"});
    EXPECT_EQ(held.output, "\nCommunication error: ECR is not responding\n" + Failed(5));
}

TEST_F(RobustnessTest, ServesManyRegistersWithOneLog) {
    constexpr int count = 32;
    std::string records;
    for (int i = 1; i <= 20; i++) records += std::to_string(i) + ",\"Article\"\r\n";
    const std::string file = File("a.csv", records);
    std::vector<std::unique_ptr<Simulator>> registers;
    std::vector<std::unique_ptr<Process>> runs;
    registers.reserve(count);
    runs.reserve(count);
    for (int i = 0; i < count; i++) registers.push_back(std::make_unique<Simulator>());
    // every other run takes its own lines back at its end
    for (int i = 0; i < count; i++)
        runs.push_back(Start({"send", "3", file, "/TTY=" + registers[static_cast<size_t>(i)]->Tty(),
                              "/StandardLog=" + std::to_string(i % 2)}));
    for (const auto& run : runs) EXPECT_EQ(run->Finish().status, 0);
    std::string log = ReadText(folder / "log/TAVO.log");
    const std::regex line(
        R"((\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{3} (TAVO driver version 3.*|I/O statistics : OUT frames = 22, IN frames = 21|Completed OK))?)");
    int completed = 0;
    for (size_t end; (end = log.find('\n')) != std::string::npos; log.erase(0, end + 1)) {
        EXPECT_TRUE(std::regex_match(log.substr(0, end), line)) << log.substr(0, end);
        if (log.substr(0, end).find("Completed OK") != std::string::npos) completed++;
    }
    EXPECT_EQ(log, "");
    EXPECT_GE(completed, count / 2);
}

TEST_F(RobustnessTest, WorksInPoorSurroundings) {
    Simulator ecr;
    const std::string records = "1,\"a\"\r\n2,\"b\"\r\n";
    const auto shell = [&](const std::string& line) { return RunProgram({"/bin/sh", "-c", line}); };
    const std::string parameters =
        " /TTY=" + ecr.Tty() + " /LogFilePath=" + folder / "log" + " /ConfigFilePath=" + ini;
    const std::string send = std::string(TAVO_PROGRAM) + " send 3 " + File("a.csv", records) + parameters;
    const std::string read = std::string(TAVO_PROGRAM) + " read 3 " + folder / "b.csv" + parameters;

    // no standard descriptors, no environment, a current folder that is gone
    EXPECT_EQ(shell("umask 077; mkdir " + folder / "gone; cd " + folder / "gone; rmdir " +
                    folder / "gone; exec env -i " + send + " <&- >&- 2>&-")
                  .status,
              0);
    EXPECT_EQ(shell("umask 077; exec env -i " + read + " <&- >&- 2>&-").status, 0);
    EXPECT_EQ(ReadText(folder / "b.csv"), records);
    EXPECT_EQ(TakeLog(),
              "\n\nI/O statistics : OUT frames = 4, IN frames = 3\nCompleted OK\n"
              "\n\nI/O statistics : OUT frames = 1, IN frames = 4\nCompleted OK\n");
    // nobody reads the progress
    shell("{ sleep 0.1; " + send + "; echo $? > " + folder / "status; } | true");
    EXPECT_EQ(ReadText(folder / "status"), "0\n");
    shell(send + " > /dev/full; echo $? > " + folder / "status");
    EXPECT_EQ(ReadText(folder / "status"), "0\n");
}
