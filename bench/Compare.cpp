// Runs commands in turn, all of them RUNS times: bench_compare RUNS COMMAND... [-- COMMAND...]...
// Prints a line for each: median wall time and median user + system time in microseconds, largest memory in
// KiB.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Command {
    std::vector<char*> arguments;
    std::vector<long> wallTimes;
    std::vector<long> processorTimes;
    long memory = 0;
};

long Microseconds(const timeval& time) { return time.tv_sec * 1'000'000L + time.tv_usec; }

long Median(std::vector<long>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

bool Run(Command& command, const posix_spawn_file_actions_t& silence) {
    const auto start = std::chrono::steady_clock::now();
    pid_t process = 0;
    int status = 0;
    rusage used{};
    if (posix_spawnp(&process, command.arguments[0], &silence, nullptr, command.arguments.data(), environ) !=
            0 ||
        wait4(process, &status, 0, &used) != process || status != 0) {
        std::fprintf(stderr, "%s has failed, status %d\n", command.arguments[0], WEXITSTATUS(status));
        return false;
    }
    const auto wallTime = std::chrono::steady_clock::now() - start;
    command.wallTimes.push_back(std::chrono::duration_cast<std::chrono::microseconds>(wallTime).count());
    command.processorTimes.push_back(Microseconds(used.ru_utime) + Microseconds(used.ru_stime));
    command.memory = std::max(command.memory, used.ru_maxrss);
    return true;
}

}  // namespace

int main(int argc, char* argv[]) {
    std::vector<Command> commands(1);
    for (int i = 2; i < argc; i++) {
        if (std::strcmp(argv[i], "--") == 0)
            commands.emplace_back();
        else
            commands.back().arguments.push_back(argv[i]);
    }
    for (Command& command : commands) command.arguments.push_back(nullptr);

    posix_spawn_file_actions_t silence;
    posix_spawn_file_actions_init(&silence);
    posix_spawn_file_actions_addopen(&silence, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    for (int run = argc < 3 ? 0 : std::atoi(argv[1]); run > 0; run--)
        for (Command& command : commands)
            if (!Run(command, silence)) return EXIT_FAILURE;
    for (Command& command : commands)
        std::printf("%ld %ld %ld\n", Median(command.wallTimes), Median(command.processorTimes),
                    command.memory);
    return EXIT_SUCCESS;
}
