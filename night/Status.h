#pragma once

#include <string>
#include <vector>

#include "Ledger.h"
#include "NightSettings.h"

/** A job that a register of the INI file has every night. */
struct JobStatus {
    std::string registerName;
    std::string name;
    std::string className;  // of its last run; "missing" where it was good too long ago
    std::string told;
    long long lastGood = 0;  // ms since 1970; 0: never
};

/** How things stand for every register of the INI file, whatever the nights have noted. */
struct Status {
    int status = 0;  // to end with
    std::vector<JobStatus> jobs;
    std::vector<Report> waiting;
    std::vector<std::pair<std::string, long long>> counts;  // of reports, by state
    std::vector<std::string> problems;
    NightRow lastNight;
};

Status GetStatus(const NightSettings& settings);
/** Of a night that could not say more. */
Status GetStatusOfFailure(const std::string& problem, int status);

std::string ToText(const Status& status);
std::string ToJson(const Status& status);
/** In the text format of Prometheus. */
std::string ToMetrics(const Status& status);
