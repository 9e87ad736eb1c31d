#include "Settlement.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

#include "Format.h"
#include "ReportFile.h"
#include "System/FileStream.h"

namespace {

/** What the register still holds then is what was read, and what was sold since. */
constexpr long long longestDoubtMs = 60'000;

std::vector<std::string> Split(const std::string& text, char separator, char quote) {
    std::vector<std::string> parts(1);
    bool isQuoted = false;
    for (const char c : text) {
        if (c == quote) isQuoted = !isQuoted;
        if (c == separator && !isQuoted)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

/** Whole lines. */
std::vector<std::string> GetLines(const std::string& text) {
    std::vector<std::string> lines = Split(text, '\n', '\0');
    lines.pop_back();
    return lines;
}

/** Whether the field has grown, or is the same. */
bool IsNotLess(const std::string& later, const std::string& former) {
    if (later == former) return true;
    char* laterEnd = nullptr;
    char* formerEnd = nullptr;
    const long double laterNumber = std::strtold(later.c_str(), &laterEnd);
    const long double formerNumber = std::strtold(former.c_str(), &formerEnd);
    const auto isNumber = [](const std::string& field, const char* end) {
        return !field.empty() && (*end == '\0' || *end == '\r');
    };
    return isNumber(later, laterEnd) && isNumber(former, formerEnd) && laterNumber >= formerNumber;
}

bool HasGrown(const std::vector<std::string>& later, const std::vector<std::string>& former) {
    return later.size() == former.size() && std::equal(later.begin(), later.end(), former.begin(), IsNotLess);
}

/** By their first fields; false where two have the same one, and nothing is certain. */
bool IndexByKey(const std::string& text, char delimiter,
                std::map<std::string, std::vector<std::string>>& index) {
    for (const std::string& line : GetLines(text)) {
        const std::vector<std::string> fields = Split(line, delimiter, '"');
        if (!index.emplace(fields[0], fields).second) return false;
    }
    return true;
}

/** Those that broke off before their clearing: a later reading has all that the register held, or the
 * register has been cleared by somebody else. */
void EndFormer(Ledger& ledger, const Report& by) {
    const bool hasAll = by.bytes > 0;
    for (const Report& former :
         ledger.FindReports("state = 'reading' AND register = ? AND section = ? AND number < ?",
                            by.registerName, static_cast<long long>(by.section), by.number))
        ledger.SetState(former, hasAll ? ReportState_Superseded : ReportState_Waiting,
                        hasAll
                            ? "it broke off before the clearing: the report is in " + by.id
                            : "it broke off before the clearing, and then the register was empty: --keep if "
                              "nobody else has cleared it and kept the report, --drop otherwise");
}

/** The report's state and what was read. */
void Keep(Ledger& ledger, Report& report, const RunOutcome& outcome, long long requestedMs) {
    const std::optional<std::string> bytes = ReadRegularFile(ledger.GetFolder() + "/" + report.file, false);
    report.records = outcome.records;
    report.bytes = bytes ? static_cast<long long>(bytes->size()) : 0;
    report.sha256 = bytes ? GetSha256(*bytes) : "";
    report.requested.ms = requestedMs;
    Change(ledger.Get(),
           "UPDATE report SET records = ?, bytes = ?, sha256 = ?, requested = ? WHERE number = ?",
           report.records, report.bytes, report.sha256, report.requested.ms, report.number);
}

}  // namespace

RunOutcome ReadOutcome(Database& database, const std::string& path) {
    RunOutcome outcome;
    const FileStream file(std::fopen(path.c_str(), "re"));
    if (!file) return outcome;
    std::string json(size_t{1} << 20U, '\0');  // lines that are named may be many
    json.resize(std::fread(json.data(), 1, json.size(), file.get()));
    Statement valid(database, "SELECT json_valid(?)", json);
    if (!valid.Step() || valid.GetNumber(0) == 0) return outcome;
    Statement members(
        database,
        "SELECT json_extract(j, '$.clear'), json_extract(j, '$.clearAfter') * 1000,"
        " json_extract(j, '$.records.read'), json_extract(j, '$.message'), json_extract(j, '$.hint'),"
        " json_extract(j, '$.status') = 0, json_extract(j, '$.frameVersion') > 2 OR"
        " json_extract(j, '$.io.lost') + json_extract(j, '$.io.garbage')"
        " + json_extract(j, '$.io.repeated') = 0, json_extract(j, '$.port'), json_extract(j, '$.bytes')"
        " FROM (SELECT ? AS j)",
        json);
    members.Step();
    outcome.isThere = true;
    outcome.clear = members.GetText(0);
    outcome.clearAfterMs = members.GetNumber(1);
    outcome.records = members.GetNumber(2);
    outcome.told = members.GetText(3);
    outcome.isGood = members.GetNumber(5) != 0;
    outcome.isCertain = members.GetNumber(6) != 0;
    outcome.port = members.GetText(7);
    outcome.bytes = members.GetNumber(8);
    if (!members.IsNull(4)) outcome.told += " (" + members.GetText(4) + ")";
    return outcome;
}

ReportState NoteReading(Ledger& ledger, Report& report, bool wasGood) {
    const RunOutcome outcome = ReadOutcome(ledger.Get(), ledger.GetFolder() + "/" + report.result);
    Keep(ledger, report, outcome, report.requested.ms + outcome.clearAfterMs);
    const auto become = [&](ReportState state, const std::string& reason) {
        ledger.SetState(report, state, reason);
        return state;
    };
    if (!outcome.isThere)
        return report.bytes == 0 && !wasGood
                   ? become(ReportState_Dropped, "its run did not begin")
                   : become(ReportState_Waiting,
                            "its result is gone or unreadable: --keep if the register does not "
                            "hold these records any more, --drop if it does");
    const bool isCleared = outcome.clear != "no";
    const bool isChanged = outcome.bytes != report.bytes;
    if (isCleared && (isChanged || (outcome.records > 0 && report.bytes == 0)))
        return become(ReportState_Waiting,
                      "its file is not what was read: --keep if it is right all the same, --drop "
                      "when its records are booked from elsewhere");
    if (isCleared || outcome.isGood) EndFormer(ledger, report);
    if (report.bytes == 0)
        return become(ReportState_Dropped,
                      outcome.isGood || isCleared ? "the report was empty" : "nothing was read");
    if (!isCleared)
        return become(ReportState_Reading,
                      "it broke off before the clearing: the report is still in the register");
    return outcome.clear == "done"
               ? become(ReportState_Ready, "it is read, and the register has cleared it")
               : become(ReportState_Whole, "its clearing was requested, and the answer did not come");
}

ReportState Settle(Ledger& ledger, const Report& report, const std::string& laterFile,
                   const RunOutcome& later, const BootTime& end, char delimiter) {
    const auto become = [&](ReportState state, const std::string& reason) {
        ledger.SetState(report, state, reason);
        return state;
    };
    const RunOutcome reading = ReadOutcome(ledger.Get(), ledger.GetFolder() + "/" + report.result);
    const bool isSamePort = reading.isThere && reading.port == later.port;
    if (later.records == 0 && isSamePort)
        return become(ReportState_Ready, "the register had cleared: it holds nothing of it any more");
    const std::string formerText =
        ReadRegularFile(ledger.GetFolder() + "/" + report.file, false).value_or("");
    const std::string laterText = ReadRegularFile(ledger.GetFolder() + "/" + laterFile, false).value_or("");
    const bool isInTime = !end.boot.empty() && end.boot == report.requested.boot &&
                          end.ms >= report.requested.ms && end.ms - report.requested.ms <= longestDoubtMs;
    const bool isUnchanged = GetSha256(formerText) == report.sha256;
    if (isSamePort && isInTime && isUnchanged && HasAllOf(laterText, formerText, delimiter))
        return become(ReportState_Superseded, "the register had not cleared: all of it is still there");
    return become(
        ReportState_Waiting,
        Format("the answer to its clearing was lost, and %s: --keep if the register shows only new sales "
               "now, --drop if it still holds these, or the next report of it has them",
               !isSamePort ? "what was read next was at another port"
               : isInTime  ? "what the register holds now is something else"
                           : "the register was read again too late to tell"));
}

bool HasAllOf(const std::string& later, const std::string& former, char delimiter) {
    if (later == former) return true;
    if (former.empty() || former.back() != '\n') return false;  // it has no lines
    const std::vector<std::string> laterLines = GetLines(later);
    const std::vector<std::string> formerLines = GetLines(former);
    const std::multiset<std::string> laterSet(laterLines.begin(), laterLines.end());
    const std::multiset<std::string> formerSet(formerLines.begin(), formerLines.end());
    if (std::includes(laterSet.begin(), laterSet.end(), formerSet.begin(), formerSet.end())) return true;
    std::map<std::string, std::vector<std::string>> laterKeys;
    std::map<std::string, std::vector<std::string>> formerKeys;
    return IndexByKey(later, delimiter, laterKeys) && IndexByKey(former, delimiter, formerKeys) &&
           std::all_of(formerKeys.begin(), formerKeys.end(), [&](const auto& entry) {
               const auto found = laterKeys.find(entry.first);
               return found != laterKeys.end() && HasGrown(found->second, entry.second);
           });
}
