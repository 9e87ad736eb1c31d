#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "System/Descriptor.h"

/** Programs that run beside this one. They end when it does: SIGTERM reaches them then, whatever ended it. */

/** Keeps the signals that end this process, and those of its children, for WaitForSignal; a failing write
 * ends nothing. */
void HoldSignals();

/** Waits for a child's end or a signal that ends this process, for at most that long; true once such a signal
 * has come. */
bool WaitForSignal(int timeoutMs);

/** What a child has beside its words; -1 for /dev/null or for nothing. */
struct ChildFiles {
    int input = -1;
    int output = -1;  // also of its errors
    int kept = -1;    // open for as long as it lives
};

/** Starts it; -1 where there is no process to be had. One that cannot be executed ends with 127. */
pid_t StartChild(const std::vector<std::string>& words, const ChildFiles& files);

struct EndedChild {
    pid_t id;
    int status;  // as a shell tells it: 128 and its number for a signal
};

/** One that has ended; nothing where none has. */
std::optional<EndedChild> TakeEndedChild();

/** What a command reads or has written, in memory. */
class PassingFile {
public:
    explicit PassingFile(const std::string& content);
    int Get() const { return m_file.Get(); }
    /** From its beginning, 1 MiB at most. */
    std::string Read() const;

private:
    Descriptor m_file;
};

/** Runs a command to its end: its status; 124 where it did not end in time, and was killed with what it has
 * started; 127 where it could not be started. */
int RunCommand(const std::vector<std::string>& words, const ChildFiles& files, int limitMs);
