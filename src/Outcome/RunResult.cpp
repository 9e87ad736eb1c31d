#include "Outcome/RunResult.h"

#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "AppConfig.h"
#include "Commands.h"
#include "EcrComm/CommChannels/FrameVersion.h"
#include "EcrComm/IoStatistics.h"
#include "Exceptions.h"
#include "FileErrors.h"
#include "Format.h"
#include "IniFile.h"
#include "Logging.h"
#include "Outcome/Driver.h"
#include "Outcome/ExitStatus.h"
#include "Outcome/Failure.h"
#include "Outcome/Hints.h"
#include "Path.h"
#include "System/AtomicFile.h"
#include "System/Clock.h"
#include "System/FileStream.h"
#include "Text/Json.h"
#include "Tools.h"

namespace {

/** The register's name, as the INI file writes it; empty for none. */
std::string GetRegister() {
    const std::string prefix = AppConfig::ecrSectionPrefix;
    const std::string section = AppConfig::GetEcrSection();
    std::string name = section.substr(std::min(prefix.size(), section.size()));
    for (const std::string& known : AppConfig::GetEcrNames())
        if (IniFile::IsSameName(known, name)) return known;
    return name;
}

/** Stands for the register where none is named. */
constexpr const char* noRegister = "default";

std::string ToSeconds(long long ns) { return Format("%.3f", static_cast<double>(ns) / 1e9); }

/** Of the time, the process and a random number. */
std::string MakeId(const timespec& now) {
    unsigned long long chance = 0;
    [[maybe_unused]] const ssize_t size =
        getrandom(&chance, sizeof chance, GRND_NONBLOCK);  // early at boot there is none
    return Format("%lld.%09ld-%d-%016llx", static_cast<long long>(now.tv_sec), now.tv_nsec, getpid(), chance);
}

bool Clears(Command command) {
    return command == Command_Clear || command == Command_ReadAndClear || command == Command_ClearAndSend;
}

/** Whether it is a password that stands in the wrong place, or may be. */
bool IsSecret(const std::string& word) {
    const std::string name = ToUpper(word.substr(0, word.find_first_of("=:")));
    return name != ToUpper(word) && name.find('/', 1) == std::string::npos &&
           name.find("PASSW") != std::string::npos;
}

std::string WithoutSecret(const std::string& word) { return IsSecret(word) ? "" : word; }

/** Whether a text about the run may have a password in it that was not taken for one. */
bool MayBeSecret(const RunOutline& run, const ExitStatus& status, const std::string& text) {
    return ToUpper(text).find("PASSW") != std::string::npos &&
           (status.code == ReturnCode_CmdLineError || IsSecret(run.params.filePath));
}

std::string GetMessage(const RunOutline& run, const ExitStatus& status) {
    const std::string& failure = GetLastFailure().text;
    if (!failure.empty() && !MayBeSecret(run, status, failure)) return failure;
    std::string found;  // lines that were left out, of a run that failed at nothing else
    for (const std::string& text : FileErrors::GetSummaries()) found += (found.empty() ? "" : "; ") + text;
    return found.empty() || !failure.empty() || status.code == ReturnCode_OK ? status.meaning : found;
}

std::string GetRecords() {
    const CommandCounts& counts = GetCommandCounts();
    return JsonObject()
        .Add("read", counts.read)
        .Add("sent", counts.sent)
        .Add("deleted", counts.deleted)
        .Add("refused", FileErrors::GetRejectedByEcrRecordCount())
        .Add("bad", FileErrors::GetBadFormatRecordCount())
        .Add("empty", FileErrors::GetEmptyRecordCount())
        .Add("duplicate", FileErrors::GetDuplicateRecordCount())
        .GetText();
}

std::string GetLines() {
    std::vector<std::string> lines;
    for (const LineError& error : FileErrors::GetLines()) {
        JsonObject line;
        line.Add("line", error.line);
        if (error.field > 0) line.Add("field", error.field);
        lines.push_back(line.Add("cause", error.cause).GetText());
    }
    return JsonArray(lines);
}

std::string GetIo() {
    return JsonObject()
        .Add("framesOut", IoStatistics::FramesSend)
        .Add("framesIn", IoStatistics::FramesReceived)
        .Add("lost", IoStatistics::LostRespCount)
        .Add("garbage", IoStatistics::GarbageCount)
        .Add("repeated", IoStatistics::RepeatedFrames)
        .GetText();
}

/** What is known of the run. */
JsonObject GetOutline(const RunOutline& run, const char* state) {
    const int version = AppConfig::Get(settings::serialProtocolVersion);
    const std::string tty = AppConfig::Get(settings::tty);
    constexpr int format = 1;  // grows when a member changes its meaning
    constexpr const char* clearStates[] = {"no", "requested", "done"};
    JsonObject result;
    result.Add("format", format)
        .Add("tool", GetVersion())
        .Add("run", run.id)
        .Add("state", state)
        .Add("host", GetHostName())
        .Add("port", tty.empty() ? "" : "/dev/" + tty)
        .Add("command", WithoutSecret(run.command))
        .Add("register", GetRegister());
    if (run.isCommandKnown && !run.params.isFiscalCommand) result.Add("section", run.params.data);
    result.Add("file", WithoutSecret(run.params.filePath));
    struct stat file {};
    if (!run.params.filePath.empty() && stat(run.params.filePath.c_str(), &file) == 0 &&
        S_ISREG(file.st_mode))
        result.Add("bytes", file.st_size);
    if (run.isCommandKnown && Clears(run.params.command)) result.Add("clear", clearStates[GetClearState()]);
    if (run.clearTime != 0) result.AddJson("clearAfter", ToSeconds(run.clearTime - run.startTime));
    result.Add("start", ToIso(run.start))
        .AddJson("seconds", ToSeconds(GetTimeNs() - run.startTime))
        .Add("attempts", GetAttemptCount())
        .Add("frameVersion", GetFrameVersion(version).number)
        .AddJson("records", GetRecords())
        .Add("commandsAcknowledged", GetCommandCounts().commandsAcknowledged)
        .AddJson("lines", GetLines())
        .AddJson("io", GetIo());
    return result;
}

std::string GetResult(const RunOutline& run, int status) {
    const ExitStatus& exitStatus = *FindExitStatus(status);
    JsonObject result = GetOutline(run, "ended");
    result.Add("status", status)
        .Add("name", exitStatus.name)
        .Add("class", statusClassNames[exitStatus.statusClass])
        .Add("message", GetMessage(run, exitStatus));
    const std::string hint = GetHint(exitStatus.code, run.params.filePath);
    if (&exitStatus != &interruptedStatus && !hint.empty() && !MayBeSecret(run, exitStatus, hint))
        result.Add("hint", hint);
    return result.GetText();
}

/** Where it is, or would be made. */
std::string GetPlace(const std::string& path) {
    const size_t name = path.rfind('/') + 1;
    const std::string folder = GetRealPath(name == 0 ? "." : path.substr(0, name));
    return folder.empty() ? path : folder + "/" + path.substr(name);
}

/** Whether the file is one of the run's: a report that the register has given away may be nowhere else. */
bool IsInUse(const RunOutline& run, const std::string& path) {
    std::vector<std::string> files = GetLogPaths();
    files.push_back(IniFile::GetFile());
    for (const std::string& word : run.words) files.insert(files.end(), {word, word + "~"});
    return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
        return GetPlace(path) == GetPlace(file) || File::IsSame(path, file);
    });
}

void Write(const RunOutline& run, const std::string& path, const std::string& result) {
    if (IsInUse(run, path)) ThrowWriteError(path, 0);
    ReplaceFile(path, result + "\n");
}

/** Where that fails it does not matter: the end will tell. */
void WriteIfPossible(const RunOutline& run, const std::string& path) {
    TryQuietly([&] { Write(run, path, GetOutline(run, "running").GetText()); });
}

}  // namespace

std::string GetRegisterFileName(const std::string& name) {
    if (name.empty()) return noRegister;
    const std::string encoded = Path::EncodeName(name);
    // the register of that name is another one
    return encoded == noRegister ? Format("%%%02X", name[0]) + name.substr(1) : encoded;
}

std::string GetResultPath() {
    const std::string placeholder = "{ECR}";
    std::string path = AppConfig::Get(settings::resultFile);
    const std::string name = GetRegisterFileName(GetRegister());
    for (size_t at = 0; (at = path.find(placeholder, at)) != std::string::npos; at += name.size())
        path.replace(at, placeholder.size(), name);
    return path;
}

RunOutline BeginRun(int argc, char* argv[]) {
    RunOutline run;
    run.words.assign(argv + 1, argv + argc);
    run.command = run.words[0];
    clock_gettime(CLOCK_REALTIME, &run.start);
    run.id = MakeId(run.start);
    run.startTime = GetTimeNs();
    return run;
}

void SetCommand(RunOutline& run, const BaseCommandParameters& params) {
    run.command = GetCommandName(params.command);
    run.isCommandKnown = true;
    run.params = params;
    const std::string path = GetResultPath();
    if (path.empty()) return;
    FileErrors::KeepLines();
    const bool cannotBeRepeated =
        Clears(params.command) || params.command == Command_Init || params.command == Command_ExecuteFiscal;
    run.isResultRefused = cannotBeRepeated;
    if (cannotBeRepeated)
        Write(run, path, GetOutline(run, "running").GetText());
    else
        WriteIfPossible(run, path);
    run.isResultRefused = false;
    OnClearing([&run, path] {
        if (GetClearState() == ClearState_Requested) {
            run.clearTime = GetTimeNs();
            Write(run, path, GetOutline(run, "running").GetText());
        } else {
            WriteIfPossible(run, path);
        }
    });
}

void WriteRunResult(const RunOutline& run, int status) {
    const std::string path = GetResultPath();
    if (!path.empty() && !run.isResultRefused) Write(run, path, GetResult(run, status));
}
