#pragma once

#include <string>

#include "Ledger.h"

/** What a reading has become by what its run says; docs/night.md, "What a reading becomes". */

/** What the result of a run says, whether it has ended or was killed. */
struct RunOutcome {
    bool isThere =
        false;            // otherwise the run did not begin: it writes its result before it asks the register
    bool isGood = false;  // it has ended with 0
    bool isCertain = false;  // no answer to a former request can have passed for one to its own
    std::string port;        // "/dev/ttyUSB0"
    std::string clear;       // "no", "requested" or "done"
    long long clearAfterMs = 0;
    long long records = 0;
    long long bytes = 0;  // of the file
    std::string told;     // its message, and its hint if it has one
};

RunOutcome ReadOutcome(Database& database, const std::string& path);

/** Notes what the run of a reading has left: where it cleared the report is ready, and those are superseded
 * that broke off before. wasGood: its run is known to have ended with 0. */
ReportState NoteReading(Ledger& ledger, Report& report, bool wasGood);

/** Decides on a report whose clearing was requested, by a later reading that did not clear and ended at that
 * time. */
ReportState Settle(Ledger& ledger, const Report& report, const std::string& laterFile,
                   const RunOutcome& later, const BootTime& end, char delimiter);

/** Whether a later reading has all of a former one: the same bytes, or each of its lines, or for each a line
 * of the same first field with the same texts and no smaller number. */
bool HasAllOf(const std::string& later, const std::string& former, char delimiter);
