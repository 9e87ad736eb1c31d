#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "Support.h"

/** What a finished run of a program left behind. */
struct RunResult {
    std::string output;  // of standard output and standard error
    int status = -1;     // exit status, or minus the signal that ended it
};

/** The programs of the build. */
constexpr const char* programs[] = {TAVO_PROGRAM, ECRSIM_PROGRAM, TAVO_CHECK_PROGRAM, TAVO_LINE_PROGRAM,
                                    TAVO_NIGHT_PROGRAM};

/**
 * A program that runs beside the test; one that still runs at the end is killed. The first word that is a
 * program of the build stands behind the emulator, if it is built for another machine.
 */
class Process {
public:
    explicit Process(std::vector<std::string> arguments) {
        if (*EMULATOR != '\0') {
            const auto program = std::find_first_of(arguments.begin(), arguments.end(), std::begin(programs),
                                                    std::end(programs));
            if (program != arguments.end()) arguments.insert(program, EMULATOR);
        }
        std::vector<char*> argv(arguments.size() + 1);
        for (size_t i = 0; i < arguments.size(); i++) argv[i] = arguments[i].data();
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
        m_id = fork();
        if (m_id == 0) {
            // what the caller of the tests ignores (nohup does) is not ignored by the program
            for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXFSZ})
                std::signal(signal, SIG_DFL);
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        m_output = ends[0];
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() {
        if (m_id > 0) {
            Signal(SIGKILL);
            waitpid(m_id, nullptr, 0);
        }
        close(m_output);
    }

    void Signal(int signal) const { kill(m_id, signal); }
    pid_t GetId() const { return m_id; }
    /** The next line of its output, without the line feed; empty when it has ended. */
    std::string ReadLine() {
        while (m_read.find('\n') == std::string::npos)
            if (!ReadMore()) return "";
        std::string line = m_read.substr(0, m_read.find('\n'));
        m_read.erase(0, line.size() + 1);
        return line;
    }
    /** Reads the output up to its end and waits for the program. */
    RunResult Finish() {
        while (ReadMore()) continue;
        int status = 0;
        waitpid(std::exchange(m_id, -1), &status, 0);
        return {m_read, WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status)};
    }

private:
    /** A program that says nothing for so long hangs: it is killed, and the test fails. */
    static constexpr int longestSilenceMs = 60'000;

    bool ReadMore() {
        pollfd output{m_output, POLLIN, 0};
        if (m_id > 0 && poll(&output, 1, longestSilenceMs) == 0) {
            ADD_FAILURE() << "hangs, and is killed, having said\n" << m_read;
            Signal(SIGKILL);
        }
        char buffer[4096];
        const ssize_t count = read(m_output, buffer, sizeof buffer);
        if (count > 0) m_read.append(buffer, static_cast<size_t>(count));
        return count > 0;
    }

    pid_t m_id = -1;
    int m_output = -1;
    std::string m_read;
};

/** A simulated register with these options. */
class Simulator : public Process {
public:
    explicit Simulator(std::vector<std::string> options = {})
        : Process((options.insert(options.begin(), ECRSIM_PROGRAM), std::move(options))) {
        const std::string line = ReadLine();
        EXPECT_EQ(line.substr(0, 4), "TTY=");
        m_tty = line.substr(4);
    }
    /** "pts/3" */
    const std::string& Tty() const { return m_tty; }
    /** Ends it; what it printed since it started. */
    std::string Stop() {
        Signal(SIGTERM);
        const RunResult result = Finish();
        EXPECT_EQ(result.status, 0) << result.output;
        return result.output;
    }

private:
    std::string m_tty;
};

/** A line whose other end does only what the test does. */
class PseudoTerminal {
public:
    PseudoTerminal() {
        grantpt(m_master);
        unlockpt(m_master);
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal() { HangUp(); }

    int GetMaster() const { return m_master; }
    void HangUp() { close(std::exchange(m_master, -1)); }
    std::string Tty() const { return std::string(ptsname(m_master)).substr(5); }
    termios Settings() const {
        termios settings{};
        tcgetattr(m_master, &settings);
        return settings;
    }
    /** What a program that has ended has written to it; up to the end of this text, if it is to be waited
     * for. */
    std::string Written(const std::string& last = "") const {
        std::string text;
        pollfd output{m_master, POLLIN, 0};
        while (poll(&output, 1, text.find(last) == std::string::npos ? 5000 : 0) > 0) {
            char buffer[4096];
            const ssize_t count = read(m_master, buffer, sizeof buffer);
            if (count <= 0) break;
            text.append(buffer, static_cast<size_t>(count));
        }
        return text;
    }
    /** Waits for a frame of the tool. */
    void TakeFrame() const {
        char value = 0;
        while (value != 3 && read(m_master, &value, 1) == 1) continue;
    }
    /** Sends bytes, given in hexadecimal; with isTaken waits until the tool has taken them. */
    void Send(const std::string& hex, bool isTaken = false) const {
        const Bytes bytes = FromHex(hex);
        EXPECT_EQ(write(m_master, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        const int line = open(ptsname(m_master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        for (int waiting = 1; isTaken && ioctl(line, FIONREAD, &waiting) == 0 && waiting > 0;)
            std::this_thread::yield();
        close(line);
    }

private:
    int m_master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
};

/** Two ports with a cable between them. */
class NullModem {
public:
    ~NullModem() {
        m_isCut = true;
        m_cable.join();
    }
    const PseudoTerminal a;
    const PseudoTerminal b;

private:
    void Carry() const {
        while (!m_isCut) {
            pollfd ends[] = {{a.GetMaster(), POLLIN, 0}, {b.GetMaster(), POLLIN, 0}};
            poll(ends, 2, 10);
            for (int i = 0; i < 2; i++) {
                char buffer[1024];
                if ((ends[i].revents & POLLIN) == 0) continue;
                const ssize_t count = read(ends[i].fd, buffer, sizeof buffer);
                EXPECT_EQ(write(ends[1 - i].fd, buffer, static_cast<size_t>(std::max<ssize_t>(count, 0))),
                          count);
            }
        }
    }
    std::atomic<bool> m_isCut{false};
    std::thread m_cable{[this] { Carry(); }};
};
