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
    std::string clear;       // "no", "requested" or "done"
    long long clearAfterMs = 0;
    long long records = 0;
    std::string told;  // its message, and its hint if it has one
};

RunOutcome ReadOutcome(Database& database, const std::string& path);

/** Notes what the run of a reading has left: of one that cleared the report is ready, and supersedes those
 * that did not. Nothing for one that is noted already. */
ReportState NoteReading(Ledger& ledger, Report& report);

/** Decides on a report whose clearing was requested by a later reading (a file of so many records) that did
 * not clear and ended at that time. */
ReportState Settle(Ledger& ledger, const Report& report, const std::string& laterFile, long long laterRecords,
                   const BootTime& end, char delimiter);

/** Whether a later reading has all of a former one: each of its lines, or for each a line of the same first
 * field with the same texts and no smaller number. What stands behind the last line feed was being written.
 */
bool HasAllOf(const std::string& later, const std::string& former, char delimiter);
