#include "Machine.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "Exceptions.h"
#include "Format.h"
#include "IniFile.h"
#include "NightFolder.h"
#include "Path.h"
#include "ReportFile.h"
#include "System/AtomicFile.h"
#include "Tools.h"

namespace {

constexpr size_t recentNights = 3;
constexpr size_t comparedNights = 14;

/** Of a file that somebody else may have written. */
std::string GetClassName(const std::string& text) {
    return text.empty() ? "open" : GetRank(text) < std::size(nightClasses) ? text : "report";
}

/** Names of registers are the same whatever their case. */
RegisterNights* FindRegister(Machine& machine, const std::string& name) {
    const auto same = machine.registers.find(name);
    if (same != machine.registers.end()) return &same->second;
    const auto found =
        std::find_if(machine.registers.begin(), machine.registers.end(),
                     [&](const auto& entry) { return IniFile::IsSameName(entry.first, name); });
    return found == machine.registers.end() ? nullptr : &found->second;
}

void AddJobs(Machine& machine, Ledger& ledger, long long oldest) {
    // of a register that was served more than once at a date the last run of each job counts
    Statement rows(ledger.Get(),
                   "SELECT job.register, job.name, class, told, night.begun FROM job JOIN night ON"
                   " number = night WHERE begun > ? ORDER BY register, name, night DESC",
                   oldest);
    std::string former;
    while (rows.Step()) {
        const std::string registerName = rows.GetText(0);
        const std::string name = rows.GetText(1);
        const std::string className = GetClassName(rows.GetText(2));
        const int date = GetDate(rows.GetNumber(4));
        const std::string place = Format("%s\n%s\n%d", registerName.c_str(), name.c_str(), date);
        RegisterNights* const nights = FindRegister(machine, registerName);
        if (nights == nullptr || place == former) continue;
        former = place;
        RegisterNight& night = (*nights)[date];
        if (night.className.empty() || GetRank(className) > GetRank(night.className))
            night.className = className;
        if (GetRank(className) == 0) continue;
        std::string& names = night.told[className + ": " + rows.GetText(3)];
        names += (names.empty() ? "" : ", ") + name;
    }
}

void AddRuns(Machine& machine, Ledger& ledger, long long oldest) {
    Statement rows(
        ledger.Get(),
        "SELECT run.register, night.begun, sum(seconds), sum(iif(run.status = 0, frames, 0)),"
        " sum(iif(run.status = 0, lost + garbage + repeated, 0))"
        " FROM run JOIN night ON night.number = night WHERE night.begun > ? GROUP BY 1, night.number",
        oldest);
    while (rows.Step()) {
        RegisterNights* const nights = FindRegister(machine, rows.GetText(0));
        if (nights == nullptr) continue;
        RegisterNight& night = (*nights)[GetDate(rows.GetNumber(1))];
        night.seconds += rows.GetReal(2);
        night.frames += rows.GetNumber(3);
        night.disturbed += rows.GetNumber(4);
    }
}

void AddNights(Machine& machine, Ledger& ledger) {
    for (const JobStatus& job : machine.status.jobs) machine.registers[job.registerName];
    const long long oldest = GetWallTime() - shownNights * msPerDay;
    AddJobs(machine, ledger, oldest);
    AddRuns(machine, ledger, oldest);
    for (const Report& report : machine.status.waiting) {
        const std::vector<Report> later =
            ledger.FindReports("bytes > 0 AND register = ? AND section = ? AND number > ?",
                               report.registerName, static_cast<long long>(report.section), report.number);
        if (!later.empty()) machine.nextReports.emplace(report.id, later[0]);
    }
}

/** As status --json writes it. */
Status ParseStatus(Database& database, const std::string& json, long long& time) {
    Statement valid(database, "SELECT json_valid(?)", json);
    valid.Step();
    if (valid.GetNumber(0) == 0)
        throw new FileIoException("it has no status.json as tavo-night status --json writes it");
    Statement whole(database,
                    "SELECT json_extract(?1, '$.status'), strftime('%s', json_extract(?1, '$.time')) * 1000",
                    json);
    whole.Step();
    Status status;
    status.status = static_cast<int>(whole.GetNumber(0));
    time = whole.GetNumber(1);
    Statement problems(database, "SELECT value FROM json_each(?, '$.problems')", json);
    while (problems.Step()) status.problems.push_back(problems.GetText(0));
    Statement jobs(
        database,
        "SELECT json_extract(value, '$.register'), json_extract(value, '$.job'), json_extract(value, "
        "'$.class'), json_extract(value, '$.told'), strftime('%s', json_extract(value, '$.good')) * 1000"
        " FROM json_each(?, '$.jobs')",
        json);
    while (jobs.Step())
        status.jobs.push_back({jobs.GetText(0), jobs.GetText(1), GetClassName(jobs.GetText(2)),
                               jobs.GetText(3), jobs.GetNumber(4)});
    return status;
}

/** The newest nights that had frames, the newest one first. */
std::vector<const RegisterNight*> GetNewest(const RegisterNights& nights, size_t count) {
    std::vector<const RegisterNight*> newest;
    for (auto night = nights.rbegin(); night != nights.rend() && newest.size() < count; ++night)
        if (night->second.frames > 0) newest.push_back(&night->second);
    return newest;
}

double GetMedian(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

/** Mann and Kendall's test: how many standard deviations there are more pairs of nights of which the later
 * one is worse than chance would have. */
double GetTrend(const std::vector<double>& newest) {
    double worse = 0;
    for (size_t later = 0; later < newest.size(); later++)
        for (size_t earlier = later + 1; earlier < newest.size(); earlier++)
            worse += newest[later] > newest[earlier] ? 1 : newest[later] < newest[earlier] ? -1 : 0;
    const auto count = static_cast<double>(newest.size());
    return worse / std::sqrt(count * (count - 1) * (2 * count + 5) / 18);
}

/** What cannot be read is a problem of the machine; the others are shown all the same. */
template <class Load>
Machine LoadAs(const std::string& name, const Load& load) {
    Machine machine;
    machine.name = name;
    try {
        load(machine);
    } catch (Exception* e) {
        const std::unique_ptr<Exception> failure(e);
        machine.status.problems.push_back(failure->Explain());
    }
    return machine;
}

}  // namespace

size_t GetRank(const std::string& className) {
    const auto* const found = std::find_if(std::begin(nightClasses), std::end(nightClasses),
                                           [&](const NightClass& row) { return row.name == className; });
    return static_cast<size_t>(found - std::begin(nightClasses));
}

bool IsSilent(const Machine& machine) {
    constexpr long long longestSilenceMs = 20LL * 3'600'000;  // what it told yesterday is no news
    return machine.time != 0 && GetWallTime() - machine.time > longestSilenceMs;
}

int GetDate(long long ms) {
    constexpr int secondsPerDay = 86'400;
    const auto noon = static_cast<time_t>(ms / 1000 - secondsPerDay / 2);
    tm local{};
    localtime_r(&noon, &local);
    return static_cast<int>((noon + local.tm_gmtoff) / secondsPerDay);
}

Machine LoadThisMachine(const NightSettings& settings) {
    return LoadAs(GetHostName(), [&](Machine& machine) {
        machine.time = GetWallTime();
        machine.status = GetStatus(settings);
        for (JobStatus& job : machine.status.jobs) job.className = GetClassName(job.className);
        if (!Ledger::Exists(settings.folder)) return;
        Ledger ledger(settings.folder, Database::Access::Read);
        AddNights(machine, ledger);
    });
}

Machine LoadCopies(const std::string& folder) {
    const std::string real = GetRealPath(folder);
    return LoadAs(Path::GetFileName(real.empty() ? folder : real), [&](Machine& machine) {
        machine.isCopied = true;
        constexpr size_t longest = size_t{1} << 24U;
        const std::string json = ReadRegularFile(folder + "/status.json", false, longest).value_or("");
        Database parser(":memory:", Database::Access::Read);  // whatever the copy of the ledger is
        machine.status = ParseStatus(parser, json, machine.time);
        for (const JobStatus& job : machine.status.jobs) machine.registers[job.registerName];
        Ledger ledger = OpenLedger(folder, Database::Access::Read);
        machine.status.waiting = ledger.FindReports("state = 'waiting'");
        AddNights(machine, ledger);
    });
}

double RegisterNight::GetDisturbance() const {
    return frames == 0 ? 0 : 1000 * static_cast<double>(disturbed) / static_cast<double>(frames);
}

LineTrend GetLineTrend(const RegisterNights& nights) {
    std::vector<double> newest;
    long long disturbed = 0;
    for (const RegisterNight* night : GetNewest(nights, comparedNights)) {
        if (newest.size() < recentNights) disturbed += night->disturbed;
        newest.push_back(night->GetDisturbance());
    }
    const auto recentEnd =
        newest.begin() + std::min<ptrdiff_t>(recentNights, std::distance(newest.begin(), newest.end()));
    LineTrend trend{GetMedian({recentEnd, newest.end()}), GetMedian({newest.begin(), recentEnd}), false};
    constexpr long long leastDisturbed = 6;  // a few are no news
    constexpr double certain = 3;            // standard deviations
    constexpr double leastMore = 5;          // of 1000: less does not delay a run
    trend.isWorse = newest.size() > recentNights && disturbed >= leastDisturbed &&
                    trend.recent > trend.former + leastMore &&
                    (trend.recent > 2 * trend.former || GetTrend(newest) > certain);
    return trend;
}
