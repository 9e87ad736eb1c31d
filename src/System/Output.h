#pragma once

#include <string>
#include <string_view>

/** Fills the standard descriptors that the caller has closed, or a log, a recording or the port would take
 * their place: called before anything is opened. */
void OpenStandardDescriptors();

/**
 * Writes a user message to standard output as it stands, at once. A reader that does not take it is waited
 * for, but not by a run that a signal is to end.
 */
void Print(std::string_view text);
/** Whether a part of what was printed could not be written. */
bool IsOutputLost();

/** Shows a text that the next one on the line overwrites, as far as the setting "Progress" lets it. */
void ShowProgress(const std::string& text);
/** Shows a person how far the progress is to go. */
void ShowTotal(const std::string& text);
/** Overwrites a text of that length. */
void EraseProgress(size_t length);
/** 0: no progress; 1: always; 2: where standard output is a terminal. */
void SetProgress(int level);

/** Whether standard error is a terminal. */
bool IsPersonThere();
/** Writes a line for a person to standard error, where that is a terminal that takes it now: one that is
 * stopped (Ctrl-S), or that a job in the background may not write to, holds no run up. */
void TellPerson(std::string_view line);

/** Keeps back what is printed from its making on; prints it when it is freed, unless it was taken. They nest.
 */
class HeldOutput {
public:
    HeldOutput();
    HeldOutput(const HeldOutput&) = delete;
    HeldOutput& operator=(const HeldOutput&) = delete;
    ~HeldOutput();

    /** What was printed; from now on printing goes its usual way. */
    std::string Take();

private:
    size_t m_start;  // of its part of what is held
    bool m_isTaken = false;
};
