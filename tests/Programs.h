#pragma once

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <string>
#include <vector>

/** What the code prints to standard output while action runs. */
std::string OutputOf(const std::function<void()>& action);

/** What a finished run of a program left behind. */
struct RunResult {
    std::string output;  // of standard output and standard error
    int status = -1;     // exit status, or minus the signal that ended it
};

/** A program that runs beside the test. */
class Process {
public:
    explicit Process(std::vector<std::string> arguments);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /** Kills a program that still runs. */
    ~Process();

    /** The next line of its output, without the line feed. */
    std::string ReadLine();
    /** Reads the output up to its end and waits for the program. */
    RunResult Finish();
    void Signal(int signal) const;
    pid_t GetId() const { return m_id; }

private:
    bool ReadMore();

    pid_t m_id = -1;
    int m_output = -1;
    std::string m_read;
};

/** A simulated register with these options. */
class Simulator : public Process {
public:
    explicit Simulator(std::vector<std::string> options = {});
    /** "pts/3" */
    const std::string& Tty() const { return m_tty; }
    /** Ends it; what it printed since it started. */
    std::string Stop();

private:
    std::string m_tty;
};

/** A line whose other end does only what the test does. */
class PseudoTerminal {
public:
    PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal() { HangUp(); }

    std::string Tty() const;
    termios Settings() const;
    /** Waits for a frame of the tool. */
    void TakeFrame() const;
    /** Sends bytes; with isTaken waits until the tool has taken them. */
    void Send(const std::string& bytes, bool isTaken = false) const;
    void HangUp();
    /** Whether nobody has the line open any more. */
    bool IsHungUp() const;

private:
    int m_master;
};
