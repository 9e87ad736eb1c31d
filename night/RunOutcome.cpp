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
        " + json_extract(j, '$.io.repeated') = 0,"
        " json_extract(j, '$.port'), json_extract(j, '$.bytes'), json_extract(j, '$.register'),"
        " json_extract(j, '$.section'), json_extract(j, '$.seconds'),"
        " json_extract(j, '$.io.framesOut') + json_extract(j, '$.io.framesIn'), json_extract(j, '$.io.lost'),"
        " json_extract(j, '$.io.garbage'), json_extract(j, '$.io.repeated') FROM (SELECT ? AS j)",
        *json);
    members.Step();
    int column = 0;
    const auto number = [&] { return members.GetNumber(column++); };
    const auto text = [&] { return members.GetText(column++); };
    outcome.isThere = true;
    outcome.clear = text();
    outcome.clearAfterMs = number();
    outcome.records = number();
    outcome.told = text();
    const std::string hint = text();
    if (!hint.empty()) outcome.told += " (" + hint + ")";
    outcome.isGood = number() != 0;
    outcome.isCertain = number() != 0;
    outcome.port = text();
    outcome.bytes = number();
    outcome.registerName = text();
    outcome.section = static_cast<int>(number());
    outcome.seconds = members.GetReal(column++);
    outcome.frames = number();
    outcome.lost = number();
    outcome.garbage = number();
    outcome.repeated = number();
    return outcome;
}
