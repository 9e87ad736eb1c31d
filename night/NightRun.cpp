#include "NightRun.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <memory>
#include <optional>

#include "Children.h"
#include "Exceptions.h"
#include "Format.h"
#include "IniFile.h"
#include "Ledger.h"
#include "NightFolder.h"
#include "Outcome/ExitStatus.h"
#include "Prices.h"
#include "Settlement.h"
#include "System/AtomicFile.h"
#include "System/Clock.h"
#include "System/Output.h"
#include "Tools.h"

namespace {

/** A night that began longer ago is not gone on with. */
constexpr long long longestNightMs = 12LL * 3'600'000;
/** What was done longer ago is done again: a run by hand at noon is not the night. */
constexpr long long longestGoodMs = 6LL * 3'600'000;

struct Job {
    std::string name;
    bool isPrices = false;
    int report = 0;  // otherwise
    int tries = 0;
};

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
struct Line {
    const RegisterSettings* settings;
    std::vector<Job> jobs;  // that are left, the next one first
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
    void RemoveLeftJobs(const std::vector<const RegisterSettings*>& served);
    void LeaveToPerson();
    void AddJobs(const RegisterSettings& settings);
    void StartRuns();
    /** False where there is no process to be had. */
    bool Start(Line& line);
    Run PrepareRun(Line& line);
    Run MakeRun(const char* command, int section, const std::string& registerName);
    void Take(const EndedChild& child);
    void EndRun(Line& line, int status);
    void EndSend(Line& line, int status);
    void EndReading(Line& line, int status);
    void EndCheck(Line& line, int status);
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
    const NightRow last = m_ledger.GetLastNight();
    const long long age = GetWallTime() - last.begun;
    Statement later(m_ledger.Get(), "SELECT 1 FROM night WHERE number = ? AND (ended IS NULL OR status = 75)",
                    last.number);
    const bool isContinued = later.Step() && std::llabs(age) < longestNightMs;
    const std::string unfinished = m_settings.folder + unfinishedFile;
    if (!isContinued || !File::Exists(unfinished)) ReplaceFile(unfinished, "");
    const std::string log = m_settings.folder + "/log";
    const int mode = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC | (isContinued ? 0 : O_TRUNC);
    m_log.Reset(open(log.c_str(), mode, 0640));
    Transaction beginning(m_ledger.Get());
    m_number = isContinued ? last.number : last.number + 1;
    Change(
        m_ledger.Get(),
        "INSERT INTO night VALUES (?, ?, NULL, NULL) ON CONFLICT DO UPDATE SET ended = NULL, status = NULL",
        m_number, GetWallTime());
    RemoveLeftJobs(served);
    LeaveToPerson();
    for (const RegisterSettings* settings : served) AddJobs(*settings);
    beginning.Commit();
    Print(FormatWallTime(GetWallTime()) +
          (isContinued ? ", goes on with the night of " + FormatWallTime(last.begun) : ", a night begins") +
          Format(": %zu registers\n", served.size()));
}

/** Of registers that are served once more, perhaps with other settings, and of those that are there no more.
 */
void Night::RemoveLeftJobs(const std::vector<const RegisterSettings*>& served) {
    Statement rows(m_ledger.Get(), "SELECT DISTINCT register FROM job WHERE night = ?", m_number);
    while (rows.Step()) {
        const std::string name = rows.GetText(0);
        const auto isThis = [&](const std::string& other) { return IniFile::IsSameName(other, name); };
        const bool isServed =
            std::any_of(served.begin(), served.end(),
                        [&](const RegisterSettings* settings) { return isThis(settings->name); });
        const bool isKnown =
            std::any_of(m_settings.registers.begin(), m_settings.registers.end(),
                        [&](const RegisterSettings& settings) { return isThis(settings.name); });
        if (isServed || !isKnown)
            Change(m_ledger.Get(),
                   "DELETE FROM job WHERE night = ? AND register = ? AND ifnull(class, '') <> 'ok'", m_number,
                   name);
    }
}

/** What no run will settle any more. */
void Night::LeaveToPerson() {
    for (const Report& report : m_ledger.FindReports("state IN ('reading', 'whole')")) {
        const bool isServed = std::any_of(
            m_settings.registers.begin(), m_settings.registers.end(), [&](const RegisterSettings& settings) {
                return IniFile::IsSameName(settings.name, report.registerName) &&
                       std::count(settings.reports.begin(), settings.reports.end(), report.section) > 0;
            });
        if (!isServed)
            m_ledger.SetState(
                report, ReportState_Waiting,
                "it was not settled, and no register of the INI file has it any more: --keep if the "
                "register has been cleared since, --drop if another report has these records");
    }
}

void Night::AddJobs(const RegisterSettings& settings) {
    Line line;
    line.settings = &settings;
    if (PriceCheck::HasPrices(settings)) line.jobs.push_back({"prices", true});
    for (const int report : settings.reports)
        line.jobs.push_back({Format("report %d", report), false, report});
    std::vector<Job> left;
    for (const Job& job : line.jobs) {
        Change(m_ledger.Get(),
               "INSERT INTO job (night, register, name) VALUES (?, ?, ?) ON CONFLICT DO NOTHING", m_number,
               settings.name, job.name);
        Statement done(
            m_ledger.Get(),
            "SELECT 1 FROM job WHERE night = ? AND register = ? AND name = ? AND class = 'ok' AND ended > ?",
            m_number, settings.name, job.name, GetWallTime() - longestGoodMs);
        if (!done.Step()) left.push_back(job);
    }
    line.jobs = left;
    m_lines.push_back(line);
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
            NoteJob(line, checked.statusClass, "the prices are kept back: " + checked.told);
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
    Change(m_ledger.Get(), "INSERT INTO run VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)", line.run.number, m_number,
           line.settings->name, std::string(line.run.command), static_cast<long long>(line.run.section),
           line.run.begun, GetWallTime(), static_cast<long long>(status), line.run.result);
    const std::string command = line.run.command;
    if (command == "Send")
        EndSend(line, status);
    else if (command == "Read")
        EndCheck(line, status);
    else
        EndReading(line, status);
}

void Night::EndSend(Line& line, int status) {
    const RunOutcome outcome = ReadOutcome(m_ledger.Get(), m_settings.folder + "/" + line.run.result);
    if (status == ReturnCode_OK) return EndJob(line, StatusClass_Ok, "sent");
    TryAgain(line, GetExitStatus(status), outcome.told, m_settings.pauseMs);
}

void Night::EndReading(Line& line, int status) {
    Report& report = *line.run.report;
    const ReportState state = NoteReading(m_ledger, report, status == ReturnCode_OK);
    const RunOutcome outcome = ReadOutcome(m_ledger.Get(), m_settings.folder + "/" + report.result);
    if (report.bytes == 0) unlink((m_settings.folder + "/" + report.file).c_str());
    line.pause = Deadline(0);
    if (state != ReportState_Waiting && (outcome.isGood || outcome.clear == "done"))
        EndJob(line, StatusClass_Ok, Format("%lld records", report.records));
    else if (state != ReportState_Whole)  // of which the next run finds out more, the sooner the better
        TryAgain(line, GetExitStatus(status), outcome.told, m_settings.pauseMs);
}

void Night::EndCheck(Line& line, int status) {
    const RunOutcome outcome = ReadOutcome(m_ledger.Get(), m_settings.folder + "/" + line.run.result);
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

std::vector<const RegisterSettings*> SelectRegisters(const NightSettings& settings,
                                                     const std::vector<std::string>& names) {
    std::vector<const RegisterSettings*> selected;
    for (const RegisterSettings& known : settings.registers)
        if (names.empty() || std::any_of(names.begin(), names.end(), [&](const std::string& name) {
                return IniFile::IsSameName(name, known.name);
            }))
            selected.push_back(&known);
    for (const std::string& name : names)
        if (std::none_of(selected.begin(), selected.end(), [&](const RegisterSettings* known) {
                return IniFile::IsSameName(name, known->name);
            }))
            throw new CommandLineException("no register " + Printable(name) + " in " +
                                           Printable(IniFile::GetFile()));
    if (selected.empty())
        throw new ConfigurationException("no register in " + Printable(IniFile::GetFile()) +
                                         ": each has a section [ECR_name]");
    return selected;
}

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
