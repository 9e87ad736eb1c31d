#include "Ledger.h"

#include <sys/random.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "Exceptions.h"
#include "Format.h"
#include "Outcome/RunResult.h"
#include "Path.h"
#include "ReportFile.h"
#include "RunOutcome.h"
#include "System/Clock.h"
#include "System/FileStream.h"
#include "Tools.h"

namespace {

constexpr const char* ledgerName = "/ledger.db";
constexpr long long ledgerFormat = 2;  // grows with a column, or its meaning

constexpr const char* schema =
    "CREATE TABLE ledger (format INTEGER, host TEXT, id TEXT, made INTEGER);"
    "CREATE TABLE night (number INTEGER PRIMARY KEY, begun INTEGER, ended INTEGER, status INTEGER);"
    "CREATE TABLE job (night INTEGER REFERENCES night, register TEXT COLLATE NOCASE, name TEXT, class TEXT, "
    "told TEXT,"
    " ended INTEGER, PRIMARY KEY (register, name, night)) WITHOUT ROWID;"
    "CREATE TABLE run (number INTEGER PRIMARY KEY, night INTEGER REFERENCES night, register TEXT, command "
    "TEXT,"
    " section INTEGER, begun INTEGER, ended INTEGER, status INTEGER, result TEXT, seconds REAL, frames "
    "INTEGER,"
    " lost INTEGER, garbage INTEGER, repeated INTEGER);"
    "CREATE TABLE report (number INTEGER PRIMARY KEY, id TEXT UNIQUE, night INTEGER, register TEXT COLLATE "
    "NOCASE,"
    " section INTEGER, file TEXT, result TEXT, begun INTEGER, records INTEGER, bytes INTEGER, sha256 TEXT,"
    " state TEXT, reason TEXT, boot TEXT, requested INTEGER);"
    "CREATE INDEX report_by_state ON report (state, register, section);"
    "CREATE TABLE change (report INTEGER REFERENCES report, time INTEGER, state TEXT, reason TEXT);"
    "CREATE INDEX change_by_report ON change (report);";

std::string ReadFirstLine(const char* path) {
    const FileStream file(std::fopen(path, "re"));
    char line[64] = {};
    return file && std::fgets(line, sizeof line, file.get()) != nullptr ? Trim(line, "\n") : "";
}

/** Images of machines are copied with their names. */
std::string MakeLedgerId() {
    unsigned long long chance = 0;
    if (getrandom(&chance, sizeof chance, 0) != sizeof chance) throw new SystemException("No random number");
    return Format("%012llx", chance >> 16U);
}

/** The register's name, of "reports/Till%201-70-1795000000000.csv". */
std::string DecodeStem(const std::string& file) {
    const size_t start = file.find('/') + 1;
    const size_t end = file.rfind('-', file.rfind('-') - 1);
    std::string name;
    for (size_t i = start; i < std::min(end, file.size()); i++) {
        const bool isCode = file[i] == '%' && i + 2 < file.size();
        name += isCode ? static_cast<char>(std::strtol(file.substr(i + 1, 2).c_str(), nullptr, 16)) : file[i];
        if (isCode) i += 2;
    }
    return name;
}

bool HasTables(Database& database) {
    Statement known(database, "SELECT 1 FROM sqlite_master WHERE name = 'ledger'");
    if (!known.Step()) return false;
    Statement made(database, "SELECT format FROM ledger");
    if (!made.Step() || made.GetNumber(0) != ledgerFormat)
        throw new FileIoException("The ledger is of another version of tavo-night");
    return true;
}

/** Whether it is being made, or that was cut off: a ledger that is made has no such file. */
bool IsBeingMade(const std::string& path) { return File::Exists(path + "-journal"); }

/** Opened to be written, SQLite would at once begin to mend what it takes for an interrupted change. */
Database OpenSound(const std::string& path, Database::Access access) {
    if (access == Database::Access::Write && IsBeingMade(path)) Database(path, access);  // takes it back
    if (access == Database::Access::Write && File::Exists(path)) {
        Database database(path, Database::Access::Read);
        Statement check(database, "PRAGMA quick_check(1)");
        if (!check.Step() || check.GetText(0) != "ok")
            throw new FileIoException("Ledger '" + Printable(path) +
                                      "' is damaged: " + Printable(check.GetText(0)) + "; nothing was done");
    }
    return {path, access};
}

ReportState ParseState(const std::string& name) {
    const auto* const found = std::find(std::begin(reportStateNames), std::end(reportStateNames), name);
    if (found == std::end(reportStateNames))
        throw new FileIoException("The ledger has a report in the state '" + Printable(name) + "'");
    return static_cast<ReportState>(found - std::begin(reportStateNames));
}

}  // namespace

long long GetWallTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1'000'000;
}

std::string FormatWallTime(long long ms) {
    timespec time{};
    time.tv_sec = static_cast<time_t>(ms / 1000);
    time.tv_nsec = static_cast<long>(ms % 1000) * 1'000'000;
    return ToIso(time);
}

BootTime BootTime::Now() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    static const std::string boot = ReadFirstLine("/proc/sys/kernel/random/boot_id");
    return {boot, now.tv_sec * 1000LL + now.tv_nsec / 1'000'000};
}

std::string GetFileStem(const std::string& registerName, int section, long long number) {
    constexpr size_t longest = 60;  // of a long name, which would leave no room for the rest
    return GetRegisterFileName(registerName).substr(0, longest) + Format("-%d-%lld", section, number);
}

bool Ledger::Exists(const std::string& folder) {
    if (!File::Exists(folder + ledgerName) || IsBeingMade(folder + ledgerName)) return false;
    Database database(folder + ledgerName, Database::Access::Read);
    return HasTables(database);  // the first night may have had no room for them
}

Ledger::Ledger(const std::string& folder, Database::Access access)
    : m_folder(folder), m_database(OpenSound(folder + ledgerName, access)) {
    if (access == Database::Access::Read) return;
    MakeTables();
    Statement last(m_database,
                   "SELECT max(ifnull((SELECT max(number) FROM report), 0),"
                   " ifnull((SELECT max(number) FROM run), 0))");
    last.Step();
    m_lastNumber = last.GetNumber(0);
}

void Ledger::MakeTables() {
    Transaction making(m_database);
    if (HasTables(m_database)) return;
    m_database.Execute(schema);
    Change(m_database, "INSERT INTO ledger VALUES (?, ?, ?, ?)", ledgerFormat, GetHostName(), MakeLedgerId(),
           GetWallTime());
    making.Commit();
}

long long Ledger::TakeNumber() { return m_lastNumber = std::max(m_lastNumber + 1, GetWallTime()); }

void Ledger::SkipNumbers(long long last) { m_lastNumber = std::max(m_lastNumber, last); }

Report Ledger::AddReport(long long night, const std::string& registerName, int section) {
    Report report;
    report.number = TakeNumber();
    report.registerName = registerName;
    report.section = section;
    report.begun = GetWallTime();
    report.requested = BootTime::Now();
    report.id = MakeId(registerName, report.number);
    const std::string stem = GetFileStem(registerName, section, report.number);
    report.file = "reports/" + stem + ".csv";
    report.result = "results/" + stem + "-ReadAndClear.json";
    Change(m_database,
           "INSERT INTO report (number, id, night, register, section, file, result, begun, state, boot, "
           "requested)"
           " VALUES (?, ?, ?, ?, ?, ?, ?, ?, 'reading', ?, ?)",
           report.number, report.id, night, registerName, static_cast<long long>(section), report.file,
           report.result, report.begun, report.requested.boot, report.requested.ms);
    return report;
}

std::string Ledger::MakeId(const std::string& registerName, long long number) {
    Statement ledger(m_database, "SELECT host, id FROM ledger");
    ledger.Step();
    // '+' stands in none of the parts
    return Path::EncodeName(ledger.GetText(0)) + "+" + ledger.GetText(1) + "+" +
           Path::EncodeName(registerName) + Format("+%lld", number);
}

ReportState Ledger::Adopt(long long number, const std::string& file, const std::string& result) {
    const std::string bytes = ReadRegularFile(m_folder + "/" + file, false).value_or("");
    const RunOutcome outcome = ReadOutcome(m_database, m_folder + "/" + result);
    const std::string registerName = outcome.registerName.empty() ? DecodeStem(file) : outcome.registerName;
    Report report;
    report.number = number;
    Change(m_database,
           "INSERT INTO report (number, id, register, section, file, result, begun, records, bytes, sha256)"
           " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
           number, MakeId(registerName, number), registerName, static_cast<long long>(outcome.section), file,
           result, number, outcome.records, static_cast<long long>(bytes.size()), GetSha256(bytes));
    const bool isUncleared = outcome.clear == "no";
    const ReportState state = isUncleared ? ReportState_Superseded : ReportState_Waiting;
    SetState(report, state,
             isUncleared ? "it broke off before the clearing: a later reading has it"
                         : "its file was found, but no row of it: --keep if it has not been booked yet, "
                           "--drop if it has");
    return state;
}

void Ledger::SetState(const Report& report, ReportState state, const std::string& reason) {
    const std::string name = reportStateNames[state];
    Change(m_database, "UPDATE report SET state = ?, reason = ? WHERE number = ?", name, reason,
           report.number);
    Change(m_database, "INSERT INTO change VALUES (?, ?, ?, ?)", report.number, GetWallTime(), name, reason);
}

const std::string Ledger::selectReports =
    "SELECT number, id, register, section, file, result, begun, records, bytes, sha256, state, reason, boot,"
    " requested FROM report WHERE ";

std::vector<Report> Ledger::ReadReports(Statement& rows) {
    std::vector<Report> reports;
    while (rows.Step()) {
        int column = 0;
        const auto number = [&] { return rows.GetNumber(column++); };
        const auto text = [&] { return rows.GetText(column++); };
        Report report;
        report.number = number();
        report.id = text();
        report.registerName = text();
        report.section = static_cast<int>(number());
        report.file = text();
        report.result = text();
        report.begun = number();
        report.records = number();
        report.bytes = number();
        report.sha256 = text();
        report.state = ParseState(text());
        report.reason = text();
        report.requested.boot = text();
        report.requested.ms = number();
        reports.push_back(report);
    }
    return reports;
}

std::optional<Report> Ledger::FindReport(const std::string& id) {
    const std::vector<Report> found = FindReports("id = ?", id);
    return found.empty() ? std::nullopt : std::optional(found[0]);
}

long long Ledger::GetLastNumber() {
    Statement last(m_database, "SELECT max(number) FROM report");
    return last.Step() ? last.GetNumber(0) : 0;
}

NightRow Ledger::GetLastNight() {
    Statement last(m_database,
                   "SELECT number, begun, ended IS NOT NULL FROM night ORDER BY number DESC LIMIT 1");
    if (!last.Step()) return {};
    return {last.GetNumber(0), last.GetNumber(1), last.GetNumber(2) != 0};
}

std::optional<JobRow> Ledger::FindLastJob(const std::string& registerName, const std::string& name) {
    const auto find = [&](std::optional<Statement>& statement, const char* text) {
        if (!statement) statement.emplace(m_database, text);
        statement->Restart(registerName, name);
        return statement->Step();
    };
    if (!find(m_lastJob,
              "SELECT class, told FROM job WHERE register = ? AND name = ? ORDER BY night DESC LIMIT 1"))
        return std::nullopt;
    const bool wasGood =
        find(m_lastGood,
             "SELECT ended FROM job WHERE register = ? AND name = ? AND class = 'ok' ORDER BY night"
             " DESC LIMIT 1");
    return JobRow{m_lastJob->GetText(0), m_lastJob->GetText(1), wasGood ? m_lastGood->GetNumber(0) : 0};
}
