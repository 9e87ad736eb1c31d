// Loaded before the C library of the program under test (LD_PRELOAD): lets one call of a library function
// fail.
//
//   FAIL_AMONG        "malloc": count allocations; "calls": count calls of the other functions below
//   FAIL_AT=k         the call to fail, counted from 1 since main began; the program's start-up is left alone
//   FAIL_MODE         "once": no other call fails; "same": later calls of the same function, too; "all": all
//   later ones FAIL_REPORT=path  where the failed function's name goes, or "none" when the program ended
//   before the k-th call

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The C library's names: its malloc by another name, as a look-up of it might allocate, and what calls main.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void* __libc_malloc(size_t size);
extern "C" int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(),
                                 void (*fini)(), void (*linkerFini)(), void* stackEnd);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr unsigned longestRun = 20;  // s, after which SIGALRM ends the program

bool isActive = false;  // from main on
bool isMallocCounted = false;
bool isSameFailing = false;  // later calls, too
bool isAllFailing = false;
long callsLeft = 0;  // to the one that fails first
const char* failedFunction = nullptr;

void Report(const char* text) {
    const char* path = std::getenv("FAIL_REPORT");
    const int file = path == nullptr ? -1 : open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (file == -1 || write(file, text, std::strlen(text)) < 0 || close(file) != 0) std::abort();
}

bool IsFirstToFail(const char* function) {
    if (failedFunction != nullptr || (std::strcmp(function, "malloc") == 0) != isMallocCounted) return false;
    if (--callsLeft != 0) return false;
    failedFunction = function;
    isActive = false;  // the report is no call of the program
    Report(function);
    isActive = true;
    return true;
}

/** Whether this call is to fail; errno is set then. */
bool Fails(const char* function, int error) {
    if (!isActive) return false;
    const bool isLater = failedFunction != nullptr;
    const bool isSame = isLater && std::strcmp(function, failedFunction) == 0;
    if (!IsFirstToFail(function) && !(isLater && isAllFailing) && !(isSame && isSameFailing)) return false;
    errno = error;
    return true;
}

/** The function that this library stands in front of. */
template <class Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int (*realMain)(int, char**, char**) = nullptr;

bool Is(const char* variable, const char* value) {
    const char* text = std::getenv(variable);
    return text != nullptr && std::strcmp(text, value) == 0;
}

int CountedMain(int argc, char** argv, char** environment) {
    const char* at = std::getenv("FAIL_AT");
    callsLeft = at == nullptr ? 0 : std::strtol(at, nullptr, 10);
    isMallocCounted = Is("FAIL_AMONG", "malloc");
    isSameFailing = Is("FAIL_MODE", "same");
    isAllFailing = Is("FAIL_MODE", "all");
    alarm(longestRun);
    isActive = true;
    return realMain(argc, argv, environment);
}

// runs after the destructors of the program
__attribute__((destructor)) void EndCounting() {
    isActive = false;
    if (failedFunction == nullptr && realMain != nullptr) Report("none");
}

}  // namespace

extern "C" {

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*linkerFini)(), void* stackEnd) {
    realMain = main;
    return Next<decltype(__libc_start_main)>("__libc_start_main")(CountedMain, argc, argv, init, fini,
                                                                  linkerFini, stackEnd);
}

void* malloc(size_t size) { return Fails("malloc", ENOMEM) ? nullptr : __libc_malloc(size); }

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return Fails("open", EMFILE) ? -1 : Next<decltype(open)>("open")(path, flags, mode);
}

// the descriptor is gone also when closing it fails
int close(int file) {
    const bool fails = Fails("close", EIO);
    const int result = Next<decltype(close)>("close")(file);
    if (fails) errno = EIO;
    return fails ? -1 : result;
}

int pipe2(int ends[2], int flags) {
    return Fails("pipe2", EMFILE) ? -1 : Next<decltype(pipe2)>("pipe2")(ends, flags);
}

int mkdir(const char* path, mode_t mode) noexcept {
    return Fails("mkdir", ENOSPC) ? -1 : Next<decltype(mkdir)>("mkdir")(path, mode);
}

int fstat(int file, struct stat* status) noexcept {
    return Fails("fstat", EIO) ? -1 : Next<decltype(fstat)>("fstat")(file, status);
}

ssize_t read(int file, void* data, size_t size) {
    return Fails("read", EIO) ? -1 : Next<decltype(read)>("read")(file, data, size);
}

ssize_t pread(int file, void* data, size_t size, off_t offset) {
    return Fails("pread", EIO) ? -1 : Next<decltype(pread)>("pread")(file, data, size, offset);
}

ssize_t write(int file, const void* data, size_t size) {
    return Fails("write", isatty(file) ? EIO : ENOSPC) ? -1
                                                       : Next<decltype(write)>("write")(file, data, size);
}

// what was not written is lost
int fsync(int file) {
    if (!Fails("fsync", ENOSPC)) return Next<decltype(fsync)>("fsync")(file);
    if (Next<decltype(ftruncate)>("ftruncate")(file, 0) != 0) std::abort();
    errno = ENOSPC;
    return -1;
}

int ftruncate(int file, off_t size) noexcept {
    return Fails("ftruncate", EIO) ? -1 : Next<decltype(ftruncate)>("ftruncate")(file, size);
}

int flock(int file, int operation) noexcept {
    return Fails("flock", ENOLCK) ? -1 : Next<decltype(flock)>("flock")(file, operation);
}

int poll(pollfd* descriptors, nfds_t count, int timeoutMs) {
    return Fails("poll", ENOMEM) ? -1 : Next<decltype(poll)>("poll")(descriptors, count, timeoutMs);
}

int tcgetattr(int file, termios* settings) noexcept {
    return Fails("tcgetattr", EIO) ? -1 : Next<decltype(tcgetattr)>("tcgetattr")(file, settings);
}

int tcsetattr(int file, int when, const termios* settings) noexcept {
    return Fails("tcsetattr", EIO) ? -1 : Next<decltype(tcsetattr)>("tcsetattr")(file, when, settings);
}

FILE* fopen(const char* path, const char* mode) {
    return Fails("fopen", EMFILE) ? nullptr : Next<decltype(fopen)>("fopen")(path, mode);
}

size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
    return Fails("fwrite", ENOSPC) ? 0 : Next<decltype(fwrite)>("fwrite")(data, size, count, file);
}

int fflush(FILE* file) {
    if (!Fails("fflush", ENOSPC)) return Next<decltype(fflush)>("fflush")(file);
    __fpurge(file);
    return EOF;
}

// the stream is gone also when closing it fails
int fclose(FILE* file) {
    const bool fails = Fails("fclose", ENOSPC);
    if (fails) __fpurge(file);
    const int result = Next<decltype(fclose)>("fclose")(file);
    if (fails) errno = ENOSPC;
    return fails ? EOF : result;
}
}
