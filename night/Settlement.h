#pragma once

#include <string>

#include "Ledger.h"
#include "RunOutcome.h"

/** What a reading has become by what its run says; docs/night.md, "What a reading becomes". */

/** Notes what the run of a reading has left: where it cleared the report is ready, and those are superseded
 * that broke off before. wasGood: its run is known to have ended with 0. */
ReportState NoteReading(Ledger& ledger, Report& report, const RunOutcome& outcome, bool wasGood);

/** Decides on a report whose clearing was requested, by a later reading that did not clear and ended at that
 * time. */
ReportState Settle(Ledger& ledger, const Report& report, const std::string& laterFile,
                   const RunOutcome& later, const BootTime& end, char delimiter);

/** Whether a later reading has all of a former one: the same bytes, or each of its lines, or for each a line
 * of the same first field with the same texts and no smaller number. */
bool HasAllOf(const std::string& later, const std::string& former, char delimiter);
