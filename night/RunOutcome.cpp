#include "RunOutcome.h"

#include "Exceptions.h"
#include "ReportFile.h"

RunOutcome ReadOutcome(Database& database, const std::string& path) {
    RunOutcome outcome;
    constexpr size_t longest = size_t{1} << 24U;  // lines that are named may be many
    std::optional<std::string> json;
    TryQuietly([&] { json = ReadRegularFile(path, false, longest); });
    Statement valid(database, "SELECT json_valid(?)", json.value_or(""));
    if (!valid.Step() || valid.GetNumber(0) == 0) return outcome;
    Statement members(
        database,
        "SELECT json_extract(j, '$.clear'), json_extract(j, '$.clearAfter') * 1000,"
        " json_extract(j, '$.records.read'), json_extract(j, '$.message'), json_extract(j, '$.hint'),"
        " json_extract(j, '$.status') = 0, json_extract(j, '$.frameVersion') > 2 OR"
        " json_extract(j, '$.io.lost') + json_extract(j, '$.io.garbage')"
        " + json_extract(j, '$.io.repeated') = 0, json_extract(j, '$.port'), json_extract(j, '$.bytes'),"
        " json_extract(j, '$.register'), json_extract(j, '$.section')"
        " FROM (SELECT ? AS j)",
        *json);
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
    outcome.registerName = members.GetText(9);
    outcome.section = static_cast<int>(members.GetNumber(10));
    if (!members.IsNull(4)) outcome.told += " (" + members.GetText(4) + ")";
    return outcome;
}
