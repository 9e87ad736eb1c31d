#include "Settlement.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <regex>
#include <set>

#include "Format.h"
#include "ReportFile.h"

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

/** "12", "-0.5"; the last one of a line has its CR. */
bool IsDecimal(const std::string& field) {
    static const std::regex number("-?[0-9]+([.][0-9]*)?\\r?");
    return std::regex_match(field, number);
}

/** Whether the field has grown, or is the same. */
bool IsNotLess(const std::string& later, const std::string& former) {
    if (later == former) return true;
    return IsDecimal(later) && IsDecimal(former) &&
           std::strtold(later.c_str(), nullptr) >= std::strtold(former.c_str(), nullptr);
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

ReportState NoteReading(Ledger& ledger, Report& report, const RunOutcome& outcome, bool wasGood) {
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
