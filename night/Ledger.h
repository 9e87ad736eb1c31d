#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Database.h"

/** What a report is; docs/night.md, "States". */
enum ReportState {
    ReportState_Reading,     // not known to be whole: it is being read, or that broke off before the clearing
    ReportState_Whole,       // its clearing was requested, and the answer is not known
    ReportState_Superseded,  // another reading has all of it
    ReportState_Ready,       // to be booked
    ReportState_Booked,
    ReportState_Dropped,  // there is nothing to book
    ReportState_Waiting   // for a person's decision
};

/** In the order of the enumeration. */
inline constexpr const char* reportStateNames[] = {"reading", "whole",   "superseded", "ready",
                                                   "booked",  "dropped", "waiting"};

/** A moment by a clock that nobody sets: ms since the machine was booted, and which boot that was. */
struct BootTime {
    std::string boot;
    long long ms = 0;

    static BootTime Now();
};

struct Report {
    long long number = 0;  // that no other report or run of the ledger has
    std::string id;
    std::string registerName;
    int section = 0;
    std::string file;     // names below the folder
    std::string result;   // of the run that read it
    long long begun = 0;  // ms since 1970
    long long records = 0;
    long long bytes = 0;
    std::string sha256;  // empty while it is not known what was read
    ReportState state = ReportState_Reading;
    std::string reason;  // of the state
    BootTime requested;  // not later than the clearing was requested
};

/** How a job of a register was in the last night that had it: "prices" or "report 70". */
struct JobRow {
    std::string className;  // as statusClassNames; empty while it is not done
    std::string told;
    long long lastGood = 0;  // ms since 1970, in any night; 0: never
};

struct NightRow {
    long long number = 0;  // 0: there is none
    long long begun = 0;   // ms since 1970
    bool isEnded = false;
};

/** ms since 1970. */
long long GetWallTime();
/** "2026-11-21T18:20:01.250+02:00" */
std::string FormatWallTime(long long ms);

/** What the names of a register's files begin with. */
std::string GetFileStem(const std::string& registerName, int section, long long number);

/** What became of each report and each night: an SQLite database in the folder of the night; docs/night.md,
 * "The ledger". A change of states is for the caller to put into a transaction. */
class Ledger {
public:
    static bool Exists(const std::string& folder);
    /** Opened to be written it is made where there is none; a damaged one is a FileIoException. */
    Ledger(const std::string& folder, Database::Access access);

    Database& Get() { return m_database; }
    const std::string& GetFolder() const { return m_folder; }

    /** A number that none has had, also where the ledger is an older copy, and that names on the disk have
     * not. */
    long long TakeNumber();
    /** Keeps TakeNumber from giving numbers up to this one. */
    void SkipNumbers(long long last);

    /** A reading that is about to begin. */
    Report AddReport(long long night, const std::string& registerName, int section);
    /** A reading that was found on the disk, by its number and the names of its files below the folder: it
     * waits for a decision, but where a later one has all of it. */
    ReportState Adopt(long long number, const std::string& file, const std::string& result);
    void SetState(const Report& report, ReportState state, const std::string& reason);
    /** In order of time; the condition is SQL about the table "report". */
    template <class... Values>
    std::vector<Report> FindReports(const std::string& condition, const Values&... values) {
        Statement rows(m_database, (selectReports + condition + " ORDER BY number").c_str(), values...);
        return ReadReports(rows);
    }
    std::optional<Report> FindReport(const std::string& id);

    NightRow GetLastNight();
    /** Of a report. */
    long long GetLastNumber();
    std::optional<JobRow> FindLastJob(const std::string& registerName, const std::string& name);

private:
    static const std::string selectReports;
    static std::vector<Report> ReadReports(Statement& rows);
    void MakeTables();
    std::string MakeId(const std::string& registerName, long long number);

    std::string m_folder;
    Database m_database;
    // prepared once: a chain has thousands of jobs
    std::optional<Statement> m_lastJob;
    std::optional<Statement> m_lastGood;
    long long m_lastNumber = 0;
};
