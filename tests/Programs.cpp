#include "Programs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <thread>

std::string OutputOf(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

Process::Process(std::vector<std::string> arguments) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
    m_id = fork();
    if (m_id == 0) {
        // what the caller of the tests ignores (nohup does) is not ignored by the program
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(signal, SIG_DFL);
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(ends[1]);
    m_output = ends[0];
}

Process::~Process() {
    if (m_id > 0) {
        Signal(SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    close(m_output);
}

void Process::Signal(int signal) const { kill(m_id, signal); }

bool Process::ReadMore() {
    char buffer[4096];
    const ssize_t count = read(m_output, buffer, sizeof buffer);
    if (count > 0) m_read.append(buffer, static_cast<size_t>(count));
    return count > 0;
}

std::string Process::ReadLine() {
    while (m_read.find('\n') == std::string::npos)
        if (!ReadMore()) return "";
    const std::string line = m_read.substr(0, m_read.find('\n'));
    m_read.erase(0, line.size() + 1);
    return line;
}

RunResult Process::Finish() {
    while (ReadMore()) continue;
    int status = 0;
    waitpid(m_id, &status, 0);
    m_id = -1;
    return {m_read, WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status)};
}

Simulator::Simulator(std::vector<std::string> options)
    : Process((options.insert(options.begin(), ECRSIM_PROGRAM), std::move(options))) {
    const std::string line = ReadLine();
    EXPECT_EQ(line.substr(0, 4), "TTY=") << line;
    m_tty = line.substr(4);
}

std::string Simulator::Stop() {
    Signal(SIGTERM);
    const RunResult result = Finish();
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output;
}

PseudoTerminal::PseudoTerminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    grantpt(m_master);
    unlockpt(m_master);
}

std::string PseudoTerminal::Tty() const { return std::string(ptsname(m_master)).substr(5); }

termios PseudoTerminal::Settings() const {
    termios settings{};
    tcgetattr(m_master, &settings);
    return settings;
}

void PseudoTerminal::TakeFrame() const {
    char value = 0;
    while (value != 3 && read(m_master, &value, 1) == 1) continue;
}

void PseudoTerminal::Send(const std::string& bytes, bool isTaken) const {
    EXPECT_EQ(write(m_master, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    const int line = open(ptsname(m_master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    for (int waiting = 1; isTaken && ioctl(line, FIONREAD, &waiting) == 0 && waiting > 0;)
        std::this_thread::yield();
    close(line);
}

void PseudoTerminal::HangUp() { close(m_master); }

bool PseudoTerminal::IsHungUp() const {
    pollfd terminal{m_master, POLLIN, 0};
    poll(&terminal, 1, 0);
    return (terminal.revents & POLLHUP) != 0;
}
