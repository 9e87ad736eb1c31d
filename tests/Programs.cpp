#include "Programs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace {

std::vector<std::string> WithProgram(const char* program, std::vector<std::string> options) {
    options.insert(options.begin(), program);
    return options;
}

}  // namespace

Process::Process(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
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

std::string Process::ReadLine() {
    size_t end;
    char buffer[4096];
    while ((end = m_read.find('\n')) == std::string::npos) {
        const ssize_t count = read(m_output, buffer, sizeof buffer);
        if (count <= 0) return "";
        m_read.append(buffer, static_cast<size_t>(count));
    }
    std::string line = m_read.substr(0, end);
    m_read.erase(0, end + 1);
    return line;
}

RunResult Process::Finish() {
    RunResult result;
    result.output = m_read;
    char buffer[4096];
    for (ssize_t count; (count = read(m_output, buffer, sizeof buffer)) > 0;)
        result.output.append(buffer, static_cast<size_t>(count));
    int status = 0;
    waitpid(m_id, &status, 0);
    m_id = -1;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return result;
}

std::string OutputOf(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

RunResult RunProgram(const std::vector<std::string>& arguments) { return Process(arguments).Finish(); }

Simulator::Simulator(std::vector<std::string> options)
    : m_process(WithProgram(ECRSIM_PROGRAM, std::move(options))) {
    const std::string line = m_process.ReadLine();
    EXPECT_EQ(line.substr(0, 4), "TTY=") << line;
    m_tty = line.substr(4);
}

std::string Simulator::Stop() {
    m_process.Signal(SIGTERM);
    const RunResult result = m_process.Finish();
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output;
}
