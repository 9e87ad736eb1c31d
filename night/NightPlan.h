#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Ledger.h"
#include "NightSettings.h"

/** What a night does for a register by one good run, or several. */
struct Job {
    std::string name;
    bool isPrices = false;
    int report = 0;  // otherwise
    int tries = 0;
};

std::vector<Job> ListJobs(const RegisterSettings& settings);

struct RegisterPlan {
    const RegisterSettings* settings;
    std::vector<Job> jobs;  // that are left, the next one first
};

/** The registers of these names, all without names. CommandLineException for an unknown one,
 * ConfigurationException where there is none. */
std::vector<const RegisterSettings*> SelectRegisters(const NightSettings& settings,
                                                     const std::vector<std::string>& names);

/** The last night, where it was cut off or ended with 75, and not too long ago. */
std::optional<NightRow> FindNightToGoOn(Ledger& ledger);

/** Writes down the night and whom it serves; leaves to a person what no run will settle any more. */
std::vector<RegisterPlan> PlanNight(Ledger& ledger, long long night, const NightSettings& settings,
                                    const std::vector<const RegisterSettings*>& served);
