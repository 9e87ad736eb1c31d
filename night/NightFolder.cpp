#include "NightFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Children.h"
#include "Exceptions.h"
#include "Format.h"
#include "Options/CommandLine.h"
#include "ReportFile.h"
#include "Settlement.h"
#include "System/Clock.h"
#include "System/FileStream.h"
#include "System/Output.h"
#include "Tools.h"

namespace {

constexpr const char* rooms[] = {"/reports", "/results", "/checks", "/sent"};

std::string GetUserName(uid_t user) {
    const passwd* const entry = getpwuid(user);
    return entry != nullptr ? entry->pw_name : std::to_string(user);
}

/** A night was killed while they were read, or before that was noted. */
void NoteReadings(Ledger& ledger) {
    for (Report& report : ledger.FindReports("state = 'reading' AND sha256 IS NULL")) {
        Transaction noting(ledger.Get());
        const RunOutcome outcome = ReadOutcome(ledger.Get(), ledger.GetFolder() + "/" + report.result);
        const ReportState state = NoteReading(ledger, report, outcome, false);
        noting.Commit();
        if (state != ReportState_Dropped)
            Print(Format("%s: report %d, read by a night that was cut off, is %s\n",
                         report.registerName.c_str(), report.section, reportStateNames[state]));
    }
}

/** Such as after an older copy of the ledger was put back. */
void AdoptUnknown(Ledger& ledger, const std::map<long long, std::string>& reports,
                  const std::map<long long, std::string>& results) {
    for (const auto& [number, name] : reports) {
        Statement known(ledger.Get(), "SELECT 1 FROM report WHERE number = ?", number);
        if (known.Step()) continue;
        Transaction adopting(ledger.Get());
        const auto result = results.find(number);
        const ReportState state = ledger.Adopt(number, "reports/" + name,
                                               result == results.end() ? "" : "results/" + result->second);
        adopting.Commit();
        Print(Format("reports/%s is not in the ledger: it is %s\n", Printable(name).c_str(),
                     reportStateNames[state]));
    }
}

}  // namespace

void CheckOwner(const std::string& folder) {
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0) ThrowOpenError(folder);
    const std::string named = "'" + Printable(folder) + "'";
    if (!S_ISDIR(status.st_mode)) throw new FileIoException(named + " is no folder");
    if (status.st_uid != geteuid())
        throw new FileIoException(named + " belongs to " + GetUserName(status.st_uid) + ", and this is " +
                                  GetUserName(geteuid()) + ": run it as the one whom it is to belong to");
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        throw new FileIoException(named + " may be written by others: chmod go-w");
}

void PrepareFolder(const std::string& folder) {
    const auto make = [](const std::string& path) {
        constexpr mode_t rights = 0755;
        if (mkdir(path.c_str(), rights) != 0 && errno != EEXIST) ThrowOpenError(path);
        CheckOwner(path);
    };
    make(folder);
    for (const char* room : rooms) make(folder + room);
}

Ledger OpenLedger(const std::string& folder, Database::Access access) {
    if (access == Database::Access::Write) CheckOwner(folder);
    if (!Ledger::Exists(folder)) throw new FileIoException("there was no night yet in " + Printable(folder));
    return {folder, access};
}

bool NightLock::Take(const std::string& folder) {
    const auto lock = [](Descriptor& file, const std::string& path) {
        if (!file.IsOpen()) file.Reset(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file.IsOpen()) ThrowOpenError(path);
        return flock(file.Get(), LOCK_EX | LOCK_NB) == 0;
    };
    if (!lock(m_night, folder + "/lock")) return false;
    constexpr int patienceMs = 60'000;
    constexpr int checkMs = 100;
    const Deadline patience(patienceMs);
    while (!lock(m_runs, folder + "/runs.lock"))  // SIGTERM has reached them when their night was killed
        if (WaitForSignal(checkMs) || patience.IsOver()) return false;
    return true;
}

std::vector<std::string> ListFolder(const std::string& folder) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir(folder.c_str()), closedir);
    while (const dirent* entry = list ? readdir(list.get()) : nullptr)
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    return names;
}

std::map<long long, std::string> FindNumbered(const std::string& folder) {
    std::map<long long, std::string> found;
    for (const std::string& name : ListFolder(folder)) {
        // "Till1-70-1795000000000.csv" or "Till1-3-1795000000000-Send.json"
        constexpr size_t digits = 13;
        size_t end = name.rfind('.');
        if (name.find(".json") == end) end = name.rfind('-', end);
        const std::string number = end < name.size() && end > digits ? name.substr(end - digits, digits) : "";
        if (!number.empty() && IsNumber(number) && name[end - digits - 1] == '-')
            found[std::atoll(number.c_str())] = name;
    }
    return found;
}

void TakeOver(Ledger& ledger) {
    const std::map<long long, std::string> reports = FindNumbered(ledger.GetFolder() + "/reports");
    const std::map<long long, std::string> results = FindNumbered(ledger.GetFolder() + "/results");
    for (const auto* numbered : {&reports, &results})
        if (!numbered->empty()) ledger.SkipNumbers(numbered->rbegin()->first);
    const std::string checks = ledger.GetFolder() + "/checks/";
    for (const std::string& name : ListFolder(checks)) unlink((checks + name).c_str());
    NoteReadings(ledger);
    AdoptUnknown(ledger, reports, results);
}

const char* DescribeFile(const Ledger& ledger, const Report& report) {
    std::optional<std::string> bytes;
    const std::string path = ledger.GetFolder() + "/" + report.file;
    if (!TryQuietly([&] { bytes = ReadRegularFile(path, false); })) return "unreadable";
    if (!bytes) return "gone";
    return GetSha256(*bytes) == report.sha256 ? "there" : "changed";
}
