#include "NightPlan.h"

#include <algorithm>
#include <cstdlib>

#include "Exceptions.h"
#include "Format.h"
#include "IniFile.h"
#include "Prices.h"

namespace {

/** A night that began longer ago is not gone on with. */
constexpr long long longestNightMs = 12LL * 3'600'000;
/** What was done longer ago is done again: a run by hand at noon is not the night. */
constexpr long long longestGoodMs = 6LL * 3'600'000;

bool IsAmong(const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& other) { return IniFile::IsSameName(other, name); });
}

const RegisterSettings* FindRegister(const std::vector<const RegisterSettings*>& registers,
                                     const std::string& name) {
    const auto found = std::find_if(
        registers.begin(), registers.end(),
        [&](const RegisterSettings* settings) { return IniFile::IsSameName(settings->name, name); });
    return found == registers.end() ? nullptr : *found;
}

std::vector<const RegisterSettings*> ListRegisters(const NightSettings& settings) {
    std::vector<const RegisterSettings*> all;
    for (const RegisterSettings& known : settings.registers) all.push_back(&known);
    return all;
}

/** Of registers that are served once more, perhaps with other settings, and of those that are served no more.
 */
void RemoveLeftJobs(Ledger& ledger, long long night, const NightSettings& settings,
                    const std::vector<const RegisterSettings*>& served) {
    Statement rows(ledger.Get(), "SELECT DISTINCT register FROM job WHERE night = ?", night);
    const std::vector<const RegisterSettings*> all = ListRegisters(settings);
    while (rows.Step()) {
        const std::string name = rows.GetText(0);
        if (FindRegister(served, name) != nullptr || FindRegister(all, name) == nullptr)
            Change(ledger.Get(),
                   "DELETE FROM job WHERE night = ? AND register = ? AND ifnull(class, '') <> 'ok'", night,
                   name);
    }
}

/** One that is left out for a slip in the INI file may be back in the next run. */
void LeaveToPerson(Ledger& ledger, const NightSettings& settings) {
    const std::vector<const RegisterSettings*> all = ListRegisters(settings);
    for (const Report& report : ledger.FindReports("state IN ('reading', 'whole')")) {
        const RegisterSettings* const known = FindRegister(all, report.registerName);
        const bool isServed =
            known != nullptr && std::count(known->reports.begin(), known->reports.end(), report.section) > 0;
        if (!isServed && !IsAmong(settings.leftOut, report.registerName))
            ledger.SetState(
                report, ReportState_Waiting,
                "it was not settled, and no register of the INI file has it any more: --keep if the "
                "register has been cleared since, --drop if another report has these records");
    }
}

RegisterPlan PlanRegister(Ledger& ledger, long long night, const RegisterSettings& settings) {
    RegisterPlan plan{&settings, {}};
    for (const Job& job : ListJobs(settings)) {
        Change(ledger.Get(),
               "INSERT INTO job (night, register, name) VALUES (?, ?, ?) ON CONFLICT DO NOTHING", night,
               settings.name, job.name);
        Statement done(
            ledger.Get(),
            "SELECT 1 FROM job WHERE night = ? AND register = ? AND name = ? AND class = 'ok' AND ended > ?",
            night, settings.name, job.name, GetWallTime() - longestGoodMs);
        if (!done.Step()) plan.jobs.push_back(job);
    }
    return plan;
}

}  // namespace

std::vector<Job> ListJobs(const RegisterSettings& settings) {
    std::vector<Job> jobs;
    if (PriceCheck::HasPrices(settings)) jobs.push_back({"prices", true});
    for (const int report : settings.reports) jobs.push_back({Format("report %d", report), false, report});
    return jobs;
}

std::vector<const RegisterSettings*> SelectRegisters(const NightSettings& settings,
                                                     const std::vector<std::string>& names) {
    std::vector<const RegisterSettings*> all = ListRegisters(settings);
    if (all.empty())
        throw new ConfigurationException("no register in " + Printable(IniFile::GetFile()) +
                                         ": each has a section [ECR_name]");
    for (const std::string& name : names)
        if (FindRegister(all, name) == nullptr)
            throw new CommandLineException("no register " + Printable(name) + " in " +
                                           Printable(IniFile::GetFile()));
    if (names.empty()) return all;
    std::vector<const RegisterSettings*> selected;
    for (const RegisterSettings* known : all)
        if (IsAmong(names, known->name)) selected.push_back(known);
    return selected;
}

std::optional<NightRow> FindNightToGoOn(Ledger& ledger) {
    const NightRow last = ledger.GetLastNight();
    Statement open(ledger.Get(), "SELECT 1 FROM night WHERE number = ? AND (ended IS NULL OR status = 75)",
                   last.number);
    if (!open.Step() || std::llabs(GetWallTime() - last.begun) >= longestNightMs) return std::nullopt;
    return last;
}

std::vector<RegisterPlan> PlanNight(Ledger& ledger, long long night, const NightSettings& settings,
                                    const std::vector<const RegisterSettings*>& served) {
    Transaction planning(ledger.Get());
    Change(ledger.Get(),
           "INSERT INTO night VALUES (?, ?, NULL, NULL) ON CONFLICT (number) DO UPDATE SET ended = NULL, "
           "status = NULL",
           night, GetWallTime());
    RemoveLeftJobs(ledger, night, settings, served);
    LeaveToPerson(ledger, settings);
    std::vector<RegisterPlan> plans;
    plans.reserve(served.size());
    for (const RegisterSettings* one : served) plans.push_back(PlanRegister(ledger, night, *one));
    planning.Commit();
    return plans;
}
