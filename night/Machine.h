#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Status.h"

inline constexpr int shownNights = 60;
inline constexpr long long msPerDay = 86'400'000;

/** What a job, a night or a register can be: as of an exit status, "open" where no night has come to it,
 * "missing" where it was good too long ago, or nothing was heard of it. From good to bad, with its letter in
 * a grid. */
struct NightClass {
    const char* name;
    char letter;
};
inline constexpr NightClass nightClasses[] = {{"ok", '-'},       {"open", 'O'},      {"retry", 'T'},
                                              {"fix-file", 'F'}, {"fix-setup", 'S'}, {"register", 'R'},
                                              {"report", 'P'},   {"missing", 'M'}};

/** Its place in nightClasses, or behind it. */
size_t GetRank(const std::string& className);

/** What became of a register in the nights of one date; docs/night.md, "The page of a morning". */
struct RegisterNight {
    // the worst of its jobs, each by its last run: as of an exit status, or "open"; empty: it was not served
    std::string className;
    std::map<std::string, std::string> told;  // of what was not well: names of jobs by "retry: 5 ..."
    double seconds = 0;                       // of all its runs
    // of those that ended well, as a register that is off says nothing of its line
    long long frames = 0;
    long long disturbed = 0;  // of these: lost, garbled or repeated

    /** Of a thousand frames. */
    double GetDisturbance() const;
};

/** By date: days since 1970 of the evening, as a night is from noon to noon. */
using RegisterNights = std::map<int, RegisterNight>;

/** A machine's registers as they stand, and how their nights went. */
struct Machine {
    std::string name;  // of the host
    bool isCopied = false;
    Status status;
    long long time = 0;                               // of the status; 0: there is none
    std::map<std::string, RegisterNights> registers;  // those of the status, by name
    std::map<std::string, Report> nextReports;        // by the id of one that waits
};

/** The date of a night that has begun then, in ms since 1970. */
int GetDate(long long ms);

bool IsSilent(const Machine& machine);

/** This machine; the class of a job that no night has come to is "open", as for copies. */
Machine LoadThisMachine(const NightSettings& settings);
/** Another one, by copies of its ledger (ledger.db) and of what its status --json told (status.json) in a
 * folder that has its name. What cannot be read is a problem of its status. */
Machine LoadCopies(const std::string& folder);

/** Frames of a thousand that are disturbed: the medians of the newest three nights, and of those before. */
struct LineTrend {
    double former = 0;
    double recent = 0;
    bool isWorse = false;  // all at once, or from night to night; a single bad night is none
};
LineTrend GetLineTrend(const RegisterNights& nights);
