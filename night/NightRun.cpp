#include "NightRun.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <optional>

#include "Children.h"
#include "Exceptions.h"
#include "Format.h"
#include "Ledger.h"
#include "NightFolder.h"
#include "NightPlan.h"
#include "Outcome/ExitStatus.h"
#include "Path.h"
#include "Prices.h"
#include "Settlement.h"
#include "System/AtomicFile.h"
#include "System/Clock.h"
#include "System/Output.h"
#include "Tools.h"

namespace {

/** A run of tavo. */
struct Run {
    long long number = 0;
    const char* command = "";
    int section = 0;
    std::string file;    // below the folder, or a path
    std::string result;  // below the folder
    long long begun = 0;
    std::optional<Report> report;  // that it reads, or that is to be settled by what it reads
};

/** One register's way through the night: one run at a time. */
struct Line : RegisterPlan {
    explicit Line(RegisterPlan plan) : RegisterPlan(std::move(plan)) {}

    Deadline pause{0};
    pid_t process = 0;  // 0: none
    Run run;
};

class Night {
public:
    Night(const NightSettings& settings, Ledger& ledger, int runsLock)
        : m_settings(settings),
          m_ledger(ledger),
          m_prices(settings, GetAppDirectory()),
          m_runsLock(runsLock) {}
    Night(const Night&) = delete;
    Night& operator=(const Night&) = delete;
    ~Night() { EndRuns(); }

    /** Writes down who is served, and goes on with the last night or begins one. */
    void Begin(const std::vector<const RegisterSettings*>& served);
    /** False when a signal has ended it. */
    bool Serve();
    /** The status to end with. */
    int End();

private:
    void StartRuns();
    /** False where there is no process to be had. */
    bool Start(Line& line);
    Run PrepareRun(Line& line);
    Run MakeRun(const char* command, int section, const std::string& registerName);
    void Take(const EndedChild& child);
    void EndRun(Line& line, int status);
    void EndSend(Line& line, const RunOutcome& outcome, int status);
    void EndReading(Line& line, const RunOutcome& outcome, int status);
    void EndCheck(Line& line, const RunOutcome& outcome, int status);
    void TryAgain(Line& line, const ExitStatus& status, const std::string& told, int pauseMs);
    /** Tells it, too. */
    void EndJob(Line& line, StatusClass statusClass, const std::string& told);
    void NoteJob(Line& line, StatusClass statusClass, const std::string& told);
    void EndRuns();
    int GetTimeout() const;

    const NightSettings& m_settings;
    Ledger& m_ledger;
    PriceCheck m_prices;
    int m_runsLock;
    Descriptor m_log;
    long long m_number = 0;
    std::vector<Line> m_lines;
};

/** For whoever starts it behind a power cut: made when the night begins, there until it has come to its end.
 */
constexpr const char* unfinishedFile = "/unfinished";

constexpr int notForked = -1;

/** Of a run that could not be started, too. */
const ExitStatus& GetExitStatus(int status) {
    static constexpr ExitStatus notExecuted = {ReturnCode_SystemError, "NotStarted", StatusClass_FixSetup,
                                               "tavo could not be started", ""};
    static constexpr ExitStatus noProcess = {ReturnCode_SystemError, "NotStarted", StatusClass_Retry,
                                             "there was no process to be had", ""};
    const ExitStatus* const found = FindExitStatus(status);
    return found != nullptr ? *found : status == notForked ? noProcess : notExecuted;
}

void Night::Begin(const std::vector<const RegisterSettings*>& served) {
    const std::optional<NightRow> last = FindNightToGoOn(m_ledger);
    const std::string unfinished = m_settings.folder + unfinishedFile;
    if (!last || !File::Exists(unfinished)) ReplaceFile(unfinished, "");
    const std::string log = m_settings.folder + "/log";
    const int mode = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC | (last ? 0 : O_TRUNC);
    m_log.Reset(open(log.c_str(), mode, 0640));
    m_number = last ? last->number : m_ledger.GetLastNight().number + 1;
    for (RegisterPlan& plan : PlanNight(m_ledger, m_number, m_settings, served))
        m_lines.emplace_back(std::move(plan));
    Print(FormatWallTime(GetWallTime()) +
          (last ? ", goes on with the night of " + FormatWallTime(last->begun) : ", a night begins") +
          Format(": %zu registers\n", served.size()));
}

bool Night::Serve() {
    for (const Line& line : m_lines)
        if (!line.jobs.empty() && line.jobs[0].isPrices && !WaitForSignal(0)) m_prices.Check(*line.settings);
    if (WaitForSignal(0)) return false;
    Transaction keeping(m_ledger.Get());
    for (Line& line : m_lines) {
        if (line.jobs.empty() || !line.jobs[0].isPrices) continue;
        const CheckedPrices& checked = m_prices.Check(*line.settings);
        if (checked.statusClass != StatusClass_Ok)
            NoteJob(line, checked.statusClass,
                    Path::GetFileName(line.settings->prices) + " is kept back: " + checked.told);
    }
    keeping.Commit();
    for (const std::string& finding : m_prices.GetFindings()) Print(finding + "\n");
    const auto isServed = [](const Line& line) { return line.jobs.empty(); };
    while (true) {
        StartRuns();
        if (std::all_of(m_lines.begin(), m_lines.end(), isServed)) return true;
        if (WaitForSignal(GetTimeout())) return false;
        Transaction ending(m_ledger.Get());
        while (const std::optional<EndedChild> child = TakeEndedChild()) Take(*child);
        ending.Commit();
    }
}

/** Until a pause is over; a run's end is a signal. */
int Night::GetTimeout() const {
    constexpr int longest = 3'600'000;
    int timeout = longest;
    const auto running =
        std::count_if(m_lines.begin(), m_lines.end(), [](const Line& l) { return l.process != 0; });
    if (running >= m_settings.jobs) return timeout;
    for (const Line& line : m_lines)
        if (line.process == 0 && !line.jobs.empty()) timeout = std::min(timeout, line.pause.GetRemainingMs());
    return timeout;
}

/** Readings are in the ledger before the first of them begins. */
void Night::StartRuns() {
    auto room = m_settings.jobs - std::count_if(m_lines.begin(), m_lines.end(),
                                                [](const Line& line) { return line.process != 0; });
    std::vector<Line*> begun;
    Transaction beginning(m_ledger.Get());
    for (Line& line : m_lines) {
        if (room == 0 || line.process != 0 || line.jobs.empty() || !line.pause.IsOver()) continue;
        line.run = PrepareRun(line);
        begun.push_back(&line);
        room--;
    }
    beginning.Commit();
    std::vector<Line*> left;
    for (Line* line : begun)
        if (!Start(*line)) left.push_back(line);
    Transaction ending(m_ledger.Get());
    for (Line* line : left) EndRun(*line, notForked);
    ending.Commit();
}

Run Night::PrepareRun(Line& line) {
    const Job& job = line.jobs[0];
    const std::string& name = line.settings->name;
    if (job.isPrices) {
        Run run = MakeRun("Send", line.settings->section, name);
        run.file = m_prices.Check(*line.settings).copy;
        return run;
    }
    const std::vector<Report> open = m_ledger.FindReports("state = 'whole' AND register = ? AND section = ?",
                                                          name, static_cast<long long>(job.report));
    if (!open.empty()) {
        Run run = MakeRun("Read", job.report, name);
        run.report = open[0];
        run.file = Format("checks/%lld.csv", run.number);
        return run;
    }
    Run run = MakeRun("ReadAndClear", job.report, name);
    run.report = m_ledger.AddReport(m_number, name, job.report);
    run.number = run.report->number;
    run.file = run.report->file;
    run.result = run.report->result;
    return run;
}

Run Night::MakeRun(const char* command, int section, const std::string& registerName) {
    Run run;
    run.number = m_ledger.TakeNumber();
    run.command = command;
    run.section = section;
    run.result = "results/" + GetFileStem(registerName, section, run.number) + "-" + command + ".json";
    run.begun = GetWallTime();
    return run;
}

bool Night::Start(Line& line) {
    const std::string path =
        line.run.file[0] == '/' ? line.run.file : m_settings.folder + "/" + line.run.file;
    std::vector<std::string> words = {GetAppDirectory() + "tavo", line.run.command,
                                      std::to_string(line.run.section), path};
    for (const auto& more : {line.settings->forRuns, m_settings.forEveryRun})
        words.insert(words.end(), more.begin(), more.end());
    words.insert(words.end(), {"/ECR=" + line.settings->name,
                               "/ResultFile=" + m_settings.folder + "/" + line.run.result, "/Progress=0"});
    const pid_t process = StartChild(words, {-1, m_log.Get(), m_runsLock});
    if (process > 0) line.process = process;  // -1 would be every process of this user to kill()
    return process > 0;
}

void Night::Take(const EndedChild& child) {
    for (Line& line : m_lines)
        if (line.process == child.id) EndRun(line, child.status);
}

void Night::EndRun(Line& line, int status) {
    line.process = 0;
    const Run& run = line.run;
    const RunOutcome outcome = ReadOutcome(m_ledger.Get(), m_settings.folder + "/" + run.result);
    Change(m_ledger.Get(), "INSERT INTO run VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", run.number,
           m_number, line.settings->name, std::string(run.command), static_cast<long long>(run.section),
           run.begun, GetWallTime(), static_cast<long long>(status), run.result, outcome.seconds,
           outcome.frames, outcome.lost, outcome.garbage, outcome.repeated);
    const std::string command = run.command;
    if (command == "Send")
        EndSend(line, outcome, status);
    else if (command == "Read")
        EndCheck(line, outcome, status);
    else
        EndReading(line, outcome, status);
}

void Night::EndSend(Line& line, const RunOutcome& outcome, int status) {
    if (status == ReturnCode_OK) return EndJob(line, StatusClass_Ok, "sent");
    TryAgain(line, GetExitStatus(status), outcome.told, m_settings.pauseMs);
}

void Night::EndReading(Line& line, const RunOutcome& outcome, int status) {
    Report& report = *line.run.report;
    const ReportState state = NoteReading(m_ledger, report, outcome, status == ReturnCode_OK);
    if (report.bytes == 0) unlink((m_settings.folder + "/" + report.file).c_str());
    line.pause = Deadline(0);
    if (state != ReportState_Waiting && (outcome.isGood || outcome.clear == "done"))
        EndJob(line, StatusClass_Ok, Format("%lld records", report.records));
    else if (state != ReportState_Whole)  // of which the next run finds out more, the sooner the better
        TryAgain(line, GetExitStatus(status), outcome.told, m_settings.pauseMs);
}

void Night::EndCheck(Line& line, const RunOutcome& outcome, int status) {
    const Report& report = *line.run.report;
    const bool isRead = status == ReturnCode_OK && outcome.isGood && outcome.isCertain;
    const ReportState state =
        isRead ? Settle(m_ledger, report, line.run.file, outcome, BootTime::Now(), line.settings->delimiter)
               : ReportState_Whole;
    unlink((m_settings.folder + "/" + line.run.file).c_str());
    const ExitStatus& noAnswer = *FindExitStatus(ReturnCode_CommunicationError);
    if (state == ReportState_Ready)
        EndJob(line, StatusClass_Ok, Format("%lld records", report.records));
    else if (state != ReportState_Whole)
        TryAgain(line, noAnswer, "the answer to the clearing was lost", 0);
    else if (status == ReturnCode_OK)
        TryAgain(line, noAnswer, "a reading over a bad line settles nothing", m_settings.pauseMs);
    else
        TryAgain(line, GetExitStatus(status), outcome.told, m_settings.pauseMs);
}

/** The job's next run is behind a pause, if there is to be one. */
void Night::TryAgain(Line& line, const ExitStatus& status, const std::string& told, int pauseMs) {
    const std::string text =
        Format("%d %s: ", status.code, status.name) + (told.empty() ? status.meaning : told);
    Job& job = line.jobs[0];
    line.pause = Deadline(pauseMs);
    if (status.statusClass != StatusClass_Retry || ++job.tries >= m_settings.tries)
        EndJob(line, status.statusClass, text);
}

void Night::EndJob(Line& line, StatusClass statusClass, const std::string& told) {
    Print(Printable(line.settings->name + ": " + line.jobs[0].name + " " + statusClassNames[statusClass] +
                    ": " + told) +
          "\n");
    NoteJob(line, statusClass, told);
}

void Night::NoteJob(Line& line, StatusClass statusClass, const std::string& told) {
    const Job job = line.jobs[0];
    line.jobs.erase(line.jobs.begin());
    line.pause = Deadline(0);
    const std::string name = statusClassNames[statusClass];
    Change(m_ledger.Get(),
           "UPDATE job SET class = ?, told = ?, ended = ? WHERE night = ? AND register = ? AND name = ?",
           name, told, GetWallTime(), m_number, line.settings->name, job.name);
}

int Night::End() {
    Statement left(
        m_ledger.Get(),
        "SELECT count(*), sum(class IS NULL OR class = 'retry'), sum(ifnull(class, '') <> 'ok') FROM job"
        " WHERE night = ?",
        m_number);
    left.Step();
    const bool mayBeMended = left.GetNumber(1) > 0 || !m_ledger.FindReports("state = 'whole'").empty();
    const bool isPersonWanted = left.GetNumber(2) > 0 || !m_settings.problems.empty() ||
                                !m_ledger.FindReports("state = 'waiting'").empty();
    const int status = mayBeMended ? statusLater : isPersonWanted ? statusPerson : statusWell;
    Print(Format("%lld jobs, %lld not well\n", left.GetNumber(0), left.GetNumber(2)));
    Change(m_ledger.Get(), "UPDATE night SET ended = ?, status = ? WHERE number = ?", GetWallTime(),
           static_cast<long long>(status), m_number);
    return status;
}

/** What they have done is for the next night to find out. */
void Night::EndRuns() {
    for (const Line& line : m_lines)
        if (line.process > 0) kill(line.process, SIGTERM);
}

}  // namespace

std::optional<int> RunNight(const NightSettings& settings,
                            const std::vector<const RegisterSettings*>& served) {
    HoldSignals();
    const std::string ended = settings.folder + endedFile;
    try {
        PrepareFolder(settings.folder);
    } catch (...) {
        unlink(ended.c_str());
        throw;
    }
    NightLock lock;
    if (!lock.Take(settings.folder)) return std::nullopt;
    unlink(ended.c_str());  // what takes no room, whatever else fails
    for (const std::string& problem : settings.problems) Print(problem + "\n");
    Ledger ledger(settings.folder, Database::Access::Write);
    TakeOver(ledger);
    Night night(settings, ledger, lock.GetRunsLock());
    night.Begin(served);
    if (!night.Serve()) return statusLater;
    const int status = night.End();
    ReplaceFile(ended, "");
    if (status != statusLater) unlink((settings.folder + unfinishedFile).c_str());
    return status;
}
