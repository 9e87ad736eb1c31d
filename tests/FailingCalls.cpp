// Loaded before the C library of the program under test (LD_PRELOAD): lets calls of its functions fail.
//
//   FAIL_HOW          "calls", or "malloc" to count allocations in place of calls of the other functions
//   below; then
//                     "once": no other call fails; "same": later calls of the same function, too; "all": all
//   FAIL_AT=k         the call to fail, counted from 1 since main began; the program's start-up is left alone
//   FAIL_SHORT=n      a read gives n bytes at most
//   FAIL_REPORT=path  where the failed function's name goes, or "none" when the k-th call never came

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string_view>
#include <utility>

// The C library's names: its malloc by another name, as a look-up of it might allocate, and what calls main.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void* __libc_malloc(size_t size);
extern "C" int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(),
                                 void (*fini)(), void (*linkerFini)(), void* stackEnd);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr unsigned longestRun = 20;  // s, after which SIGALRM ends the program

bool isActive = false;  // from main on
long callsLeft = 0;     // to the one that fails first
std::string_view failedFunction;
int (*realMain)(int, char**, char**) = nullptr;

std::string_view ValueOf(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr ? "" : value;
}

// NOLINTBEGIN(misc-no-recursion): its own calls are not counted
void Report(std::string_view text) {
    isActive = false;  // the report is no call of the program
    const int file = open(ValueOf("FAIL_REPORT").data(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (write(file, text.data(), text.size()) < 0 || close(file) != 0) std::abort();
}

/** Whether this call is to fail; errno is set then. */
bool Fails(std::string_view function, int error) {
    if (!isActive) return false;
    const std::string_view how = ValueOf("FAIL_HOW");
    if (failedFunction.empty()) {
        if ((function == "malloc") != (how.substr(0, 6) == "malloc") || --callsLeft != 0) return false;
        Report(function);
        failedFunction = function;
        isActive = true;
    } else if (how != "calls all" &&
               (how.substr(how.find(' ') + 1) != "same" || function != failedFunction)) {
        return false;
    }
    errno = error;
    return true;
}

/** What a read gives that is asked for so many bytes. */
size_t AtMost(size_t size) {
    const size_t most = std::strtoul(ValueOf("FAIL_SHORT").data(), nullptr, 10);
    return most == 0 ? size : std::min(size, most);
}

/** The function that this library stands in front of. */
template <class Function>
Function* Next(const char* name) {
    // on a machine of 32 bits the ones with positions and times of 64 have names of their own
    if constexpr (sizeof(long) < sizeof(off_t))
        for (const auto& [plain, wide] : {std::pair("fstat", "__fstat64_time64"),
                                          {"pread", "pread64"},
                                          {"ftruncate", "ftruncate64"},
                                          {"fopen", "fopen64"},
                                          {"open", "open64"},
                                          {"fcntl", "__fcntl_time64"}})
            if (std::string_view(name) == plain) name = wide;
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int CountedMain(int argc, char** argv, char** environment) {
    // valgrind, under which the program may run, has a main of its own
    if (std::string_view(program_invocation_short_name) != "tavo") return realMain(argc, argv, environment);
    callsLeft = std::strtol(ValueOf("FAIL_AT").data(), nullptr, 10);
    alarm(longestRun);
    isActive = true;
    const int status = realMain(argc, argv, environment);
    isActive = false;  // what follows is not the program's: a count of the lines run, for one
    return status;
}

// runs after the destructors of the program
__attribute__((destructor)) void EndCounting() {
    if (failedFunction.empty() && realMain != nullptr) Report("none");
    isActive = false;
}

}  // namespace

// Macros, as the names and parameters are the C library's.
// NOLINTBEGIN(bugprone-macro-parentheses)

// A function that does nothing but fail, with an errno, when its turn has come.
#define FAILING(Result, name, parameters, arguments, failure, error)                       \
    extern "C" Result name parameters {                                                    \
        return Fails(#name, error) ? (failure) : Next<Result parameters>(#name) arguments; \
    }

// One that ends its file or stream all the same: what was not written is lost.
#define LOSING(name, Parameter, lose)                         \
    extern "C" int name(Parameter file) {                     \
        const bool fails = Fails(#name, ENOSPC);              \
        if (fails) lose;                                      \
        const int result = Next<int(Parameter)>(#name)(file); \
        if (fails) errno = ENOSPC;                            \
        return fails ? -1 : result;                           \
    }

// NOLINTEND(bugprone-macro-parentheses)

FAILING(int, pipe2, (int ends[2], int flags), (ends, flags), -1, EMFILE)
FAILING(int, mkdir, (const char* path, mode_t mode) noexcept, (path, mode), -1, ENOSPC)
FAILING(int, fstat, (int file, struct stat* status) noexcept, (file, status), -1, EIO)
FAILING(ssize_t, read, (int file, void* data, size_t size), (file, data, AtMost(size)), -1, EIO)
FAILING(ssize_t, pread, (int file, void* data, size_t size, off_t at), (file, data, AtMost(size), at), -1,
        EIO)
FAILING(ssize_t, write, (int file, const void* data, size_t size), (file, data, size), -1,
        isatty(file) != 0 ? EIO : ENOSPC)
FAILING(int, ftruncate, (int file, off_t size) noexcept, (file, size), -1, EIO)
FAILING(int, flock, (int file, int operation) noexcept, (file, operation), -1, ENOLCK)
FAILING(int, poll, (pollfd * files, nfds_t count, int ms), (files, count, ms), -1, ENOMEM)
FAILING(int, tcgetattr, (int file, termios* settings) noexcept, (file, settings), -1, EIO)
FAILING(int, tcsetattr, (int file, int when, const termios* settings) noexcept, (file, when, settings), -1,
        EIO)
FAILING(FILE*, fopen, (const char* path, const char* mode), (path, mode), nullptr, EMFILE)
FAILING(int, rename, (const char* from, const char* to) noexcept, (from, to), -1, EIO)
LOSING(close, int, (void)file)
LOSING(fsync, int, (void)!Next<int(int, off_t) noexcept>("ftruncate")(file, 0))
LOSING(fclose, FILE*, __fpurge(file))

extern "C" void* malloc(size_t size) { return Fails("malloc", ENOMEM) ? nullptr : __libc_malloc(size); }

extern "C" int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return Fails("open", EMFILE) ? -1 : Next<int(const char*, int, ...)>("open")(path, flags, mode);
}

#if !__GLIBC_PREREQ(2, 33)
// what the header of an older C library makes of fstat
extern "C" int __fxstat64(int version, int file, struct stat64* status) noexcept {
    return Fails("fstat", EIO) ? -1
                               : Next<int(int, int, struct stat64*)>("__fxstat64")(version, file, status);
}
#endif

// F_DUPFD_CLOEXEC gives a descriptor that is closed to learn what was lost; the other command is a lock
extern "C" int fcntl(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const bool fails = Fails("fcntl", command == F_DUPFD_CLOEXEC ? EMFILE : ENOLCK);
    if (!fails) return Next<int(int, int, ...)>("fcntl")(file, command, argument);
    if (command == F_DUPFD_CLOEXEC) (void)!Next<int(int, off_t) noexcept>("ftruncate")(file, 0);
    return -1;
}

extern "C" int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(),
                                 void (*fini)(), void (*linkerFini)(), void* stackEnd) {
    realMain = main;
    return Next<decltype(__libc_start_main)>("__libc_start_main")(CountedMain, argc, argv, init, fini,
                                                                  linkerFini, stackEnd);
}
// NOLINTEND(misc-no-recursion)
