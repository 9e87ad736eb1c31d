#include "Reports.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>

#include "Format.h"
#include "NightFolder.h"
#include "Path.h"
#include "System/Output.h"
#include "Text/Json.h"

namespace {

std::string ToJson(const Ledger& ledger, const Report& report) {
    return JsonObject()
        .Add("id", report.id)
        .Add("register", report.registerName)
        .Add("section", report.section)
        .Add("time", FormatWallTime(report.begun))
        .Add("file", ledger.GetFolder() + "/" + report.file)
        .Add("records", report.records)
        .Add("bytes", report.bytes)
        .Add("sha256", report.sha256)
        .Add("state", reportStateNames[report.state])
        .Add("reason", report.reason)
        .Add("is", DescribeFile(ledger, report))
        .GetText();
}

/** Fields behind tabs, the file last; the first one is the state, but where what is to be booked is not
 * there. */
std::string ToText(const Ledger& ledger, const Report& report) {
    const bool isOver = report.state == ReportState_Booked || report.state == ReportState_Dropped ||
                        report.state == ReportState_Superseded;
    const std::string is = isOver ? "there" : DescribeFile(ledger, report);
    std::string text =
        Format("%s\t%s\t%d\t%s\t%lld\t%s\n", is == "there" ? reportStateNames[report.state] : is.c_str(),
               report.id.c_str(), report.section, FormatWallTime(report.begun).c_str(), report.records,
               Printable(ledger.GetFolder() + "/" + report.file).c_str());
    if (report.state == ReportState_Waiting)
        text +=
            Format("\t%s: tavo-night settle %s --keep|--drop\n", report.reason.c_str(), report.id.c_str());
    return text;
}

bool Tell(const std::string& id, const std::string& what) {
    Print(Printable(id) + ": " + what + "\n");
    return false;
}

bool BookOne(Ledger& ledger, const std::string& id) {
    const std::optional<Report> report = ledger.FindReport(id);
    if (!report) return Tell(id, "no such report");
    if (report->state == ReportState_Booked) return true;
    if (report->state != ReportState_Ready)
        return Tell(id, Format("is not to be booked: it is %s", reportStateNames[report->state]));
    ledger.SetState(*report, ReportState_Booked, "");
    return true;
}

bool DecideOnOne(Ledger& ledger, const std::string& id, bool isKept) {
    const std::optional<Report> report = ledger.FindReport(id);
    if (!report) return Tell(id, "no such report");
    const ReportState decided = isKept ? ReportState_Ready : ReportState_Dropped;
    if (report->state == decided) return true;
    Statement waited(ledger.Get(), "SELECT 1 FROM change WHERE report = ? AND state = 'waiting'",
                     report->number);
    // one that cannot be booked any more may be dropped
    const bool isLost =
        report->state == ReportState_Ready && std::string(DescribeFile(ledger, *report)) != "there";
    const bool isOpen = report->state == ReportState_Waiting || report->state == ReportState_Whole ||
                        isLost || (report->state != ReportState_Booked && waited.Step());
    if (!isOpen)
        return Tell(id, Format("does not wait for a decision: it is %s", reportStateNames[report->state]));
    ledger.SetState(*report, decided, "a person's decision");
    return true;
}

/** False where it could not be removed. */
bool Remove(const std::string& path) {
    if (unlink(path.c_str()) == 0 || errno == ENOENT) return true;
    return Tell(path, std::strerror(errno));
}

/** Copies of prices that no night has made for so long. */
void RemoveSent(const std::string& folder, long long oldest) {
    for (const std::string& name : ListFolder(folder)) {
        struct stat status {};
        const std::string path = Path::Combine(folder, name);
        if (lstat(path.c_str(), &status) == 0 && status.st_mtime < oldest / 1000) Remove(path);
    }
}

}  // namespace

void ShowReports(Ledger& ledger, bool isAll, bool isJson) {
    std::vector<std::string> texts;
    for (const Report& report : ledger.FindReports(isAll ? "1" : "state IN ('ready', 'waiting', 'whole')"))
        texts.push_back(isJson ? ToJson(ledger, report) : ToText(ledger, report));
    Statement empty(ledger.Get(), "SELECT count(*) FROM report WHERE state = 'dropped' AND bytes = 0");
    empty.Step();
    if (isJson)
        return Print(
            JsonObject().AddJson("reports", JsonArray(texts)).Add("empty", empty.GetNumber(0)).GetText() +
            "\n");
    for (const std::string& text : texts) Print(text);
}

bool Book(Ledger& ledger, const std::vector<std::string>& ids) {
    Transaction booking(ledger.Get());
    const auto failed =
        std::count_if(ids.begin(), ids.end(), [&](const std::string& id) { return !BookOne(ledger, id); });
    booking.Commit();
    return failed == 0;
}

bool DecideOn(Ledger& ledger, const std::vector<std::string>& ids, bool isKept) {
    Transaction deciding(ledger.Get());
    const auto failed = std::count_if(
        ids.begin(), ids.end(), [&](const std::string& id) { return !DecideOnOne(ledger, id, isKept); });
    deciding.Commit();
    return failed == 0;
}

void Prune(Ledger& ledger, long long keepMs) {
    const long long oldest = GetWallTime() - keepMs;
    const std::string& folder = ledger.GetFolder();
    const std::map<long long, std::string> there = FindNumbered(folder + "/reports");
    for (const Report& report : ledger.FindReports(
             "state = 'booked' AND (SELECT max(time) FROM change WHERE report = number) < ?", oldest))
        if (there.count(report.number) > 0) Remove(folder + "/" + report.file);
    // a reading that is not settled needs its result
    std::set<long long> needed;
    for (const Report& report : ledger.FindReports("state IN ('reading', 'whole', 'waiting', 'ready')"))
        needed.insert(report.number);
    for (const auto& [number, name] : FindNumbered(folder + "/results"))
        if (number < oldest && needed.count(number) == 0) Remove(Path::Combine(folder + "/results", name));
    RemoveSent(folder + "/sent", oldest);
    Transaction forgetting(ledger.Get());
    Change(ledger.Get(), "DELETE FROM run WHERE ended < ?", oldest);
    // but the last one that served a register
    Change(ledger.Get(),
           "DELETE FROM job WHERE ended < ? AND night < (SELECT max(night) FROM job AS later WHERE"
           " later.register = job.register AND later.name = job.name)",
           oldest);
    forgetting.Commit();
}
