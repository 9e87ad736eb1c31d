#include "Status.h"

#include <algorithm>
#include <map>

#include "Exceptions.h"
#include "Format.h"
#include "NightFolder.h"
#include "NightPlan.h"
#include "NightRun.h"
#include "Outcome/ExitStatus.h"
#include "Text/Json.h"
#include "Tools.h"

namespace {

constexpr const char* missing = "missing";

bool IsWell(const JobStatus& job) { return job.className == statusClassNames[StatusClass_Ok]; }
bool MayBeMended(const JobStatus& job) {
    return job.className.empty() || job.className == statusClassNames[StatusClass_Retry];
}

JobStatus GetJob(const NightSettings& settings, Ledger& ledger, const std::string& registerName,
                 const std::string& name) {
    JobStatus job{registerName, name, missing, "it was never served", 0};
    const std::optional<JobRow> found = ledger.FindLastJob(registerName, name);
    if (!found) return job;
    const JobRow& row = *found;
    job.className = row.className;
    job.told = row.className.empty() ? "the last night has not come to it" : row.told;
    job.lastGood = row.lastGood;
    constexpr long long slackMs = 300'000;  // of clocks that are set
    const long long age = GetWallTime() - row.lastGood;
    if (age <= settings.maxAgeMs && age >= -slackMs) return job;
    job.told = age < -slackMs ? "it was good at a time that has not come: was the clock set back?"
               : row.className == statusClassNames[StatusClass_Ok] ? "no night has served it since"
                                                                   : job.told;
    // what a person is wanted for says more
    if (IsWell(job) || MayBeMended(job)) job.className = missing;
    return job;
}

void AddReports(Status& status, Ledger& ledger) {
    for (const char* name : reportStateNames) {
        Statement count(ledger.Get(), "SELECT count(*) FROM report WHERE state = ?", std::string(name));
        count.Step();
        status.counts.emplace_back(name, count.GetNumber(0));
    }
    status.waiting = ledger.FindReports("state = 'waiting'");
    for (const Report& report : ledger.FindReports("state = 'ready'"))
        if (const std::string is = DescribeFile(ledger, report); is != "there")
            status.problems.push_back("the file of " + report.id + " is " + is);
}

int Judge(const Status& status, bool hasLastNightEnded) {
    const bool isPersonWanted = !status.problems.empty() || !status.waiting.empty() ||
                                std::any_of(status.jobs.begin(), status.jobs.end(), [](const JobStatus& job) {
                                    return !IsWell(job) && !MayBeMended(job);
                                });
    if (isPersonWanted) return statusPerson;
    const bool isOpen = std::any_of(status.counts.begin(), status.counts.end(), [](const auto& entry) {
        return entry.first == reportStateNames[ReportState_Whole] && entry.second > 0;
    });
    return isOpen || !hasLastNightEnded || !std::all_of(status.jobs.begin(), status.jobs.end(), IsWell)
               ? statusLater
               : statusWell;
}

std::string FormatGood(const JobStatus& job) {
    return job.lastGood == 0 ? "never" : FormatWallTime(job.lastGood);
}

/** A label's value. */
std::string Quote(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace

Status GetStatus(const NightSettings& settings) {
    if (!Ledger::Exists(settings.folder))
        return GetStatusOfFailure("there was no night yet in " + Printable(settings.folder), statusPerson);
    Status status;
    Ledger ledger(settings.folder, Database::Access::Read);
    for (const RegisterSettings& served : settings.registers) {
        for (const Job& job : ListJobs(served))
            status.jobs.push_back(GetJob(settings, ledger, served.name, job.name));
    }
    status.problems = settings.problems;
    const std::map<long long, std::string> files = FindNumbered(settings.folder + "/reports");
    if (!files.empty() && files.rbegin()->first > ledger.GetLastNumber())
        status.problems.push_back("reports/ has files that the ledger does not know: tavo-night run");
    if (settings.registers.empty()) status.problems.push_back("the INI file has no register");
    AddReports(status, ledger);
    status.lastNight = ledger.GetLastNight();
    status.status = Judge(status, File::Exists(settings.folder + endedFile));
    return status;
}

Status GetStatusOfFailure(const std::string& problem, int status) {
    Status failed;
    failed.status = status;
    failed.problems.push_back(problem);
    return failed;
}

std::string ToText(const Status& status) {
    std::string text;
    for (const std::string& problem : status.problems) text += problem + "\n";
    for (const Report& report : status.waiting)
        text +=
            report.id + " waits: " + report.reason + ": tavo-night settle " + report.id + " --keep|--drop\n";
    for (const JobStatus& job : status.jobs)
        if (!IsWell(job))
            text += Format("%s: %s %s: %s; good: %s\n", job.registerName.c_str(), job.name.c_str(),
                           job.className.empty() ? "open" : job.className.c_str(),
                           Printable(job.told).c_str(), FormatGood(job).c_str());
    const char* const summary = status.status == statusWell    ? "well"
                                : status.status == statusLater ? "not yet well"
                                                               : "a person is wanted";
    if (status.jobs.empty()) return text + summary + "\n";
    const auto well = std::count_if(status.jobs.begin(), status.jobs.end(), IsWell);
    text += Format("%s: %zd of %zu jobs are well", summary, static_cast<ssize_t>(well), status.jobs.size());
    for (const auto& [name, count] : status.counts)
        if (name == reportStateNames[ReportState_Ready]) text += Format(", %lld to be booked", count);
    return text + "\n";
}

std::string ToJson(const Status& status) {
    std::vector<std::string> jobs;
    for (const JobStatus& job : status.jobs) {
        JsonObject object;
        object.Add("register", job.registerName)
            .Add("job", job.name)
            .Add("class", job.className.empty() ? "open" : job.className)
            .Add("told", job.told);
        if (job.lastGood != 0) object.Add("good", FormatWallTime(job.lastGood));
        jobs.push_back(object.GetText());
    }
    std::vector<std::string> waiting;
    for (const Report& report : status.waiting)
        waiting.push_back(JsonObject()
                              .Add("id", report.id)
                              .Add("register", report.registerName)
                              .Add("reason", report.reason)
                              .GetText());
    JsonObject counts;
    for (const auto& [name, count] : status.counts) counts.Add(name.c_str(), count);
    JsonObject object;
    object.Add("status", status.status).Add("time", FormatWallTime(GetWallTime()));
    if (status.lastNight.number != 0)
        object.Add("night", FormatWallTime(status.lastNight.begun))
            .AddFlag("ended", status.lastNight.isEnded);
    return object.AddJson("problems", JsonArrayOfTexts(status.problems))
        .AddJson("waiting", JsonArray(waiting))
        .AddJson("jobs", JsonArray(jobs))
        .AddJson("reports", counts.GetText())
        .GetText();
}

std::string ToMetrics(const Status& status) {
    std::string text = Format(
        "# HELP tavo_night_status 0: all is well; 75: a later run may mend it; 1: a person is wanted.\n"
        "# TYPE tavo_night_status gauge\n"
        "tavo_night_status %d\n"
        "# HELP tavo_night_job_good_timestamp_seconds When a job of a register was good last; 0: never.\n"
        "# TYPE tavo_night_job_good_timestamp_seconds gauge\n",
        status.status);
    for (const JobStatus& job : status.jobs)
        text += Format("tavo_night_job_good_timestamp_seconds{register=%s,task=%s} %lld\n",
                       Quote(job.registerName).c_str(), Quote(job.name).c_str(), job.lastGood / 1000);
    text += "# HELP tavo_night_reports Reports by their state.\n# TYPE tavo_night_reports gauge\n";
    for (const auto& [name, count] : status.counts)
        text += Format("tavo_night_reports{state=%s} %lld\n", Quote(name).c_str(), count);
    return text;
}
