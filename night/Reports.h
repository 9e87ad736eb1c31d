#pragma once

#include <string>
#include <vector>

#include "Ledger.h"

/** What is to be booked and what waits for a person, or all; a line each, or one JSON object. */
void ShowReports(Ledger& ledger, bool isAll, bool isJson);

/** Each of these has been booked. False for one that is unknown, or not to be booked: the others are noted.
 */
bool Book(Ledger& ledger, const std::vector<std::string>& ids);

/** A person's decision about those that wait; false for another one. Nor need one be waited for whose
 * clearing got no answer; and one whose file is gone may be dropped. */
bool DecideOn(Ledger& ledger, const std::vector<std::string>& ids, bool isKept);

/** Removes the files of reports that were booked so long ago, and what their nights' runs have left. */
void Prune(Ledger& ledger, long long keepMs);
