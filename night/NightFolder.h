#pragma once

#include <map>
#include <string>

#include "Ledger.h"
#include "System/Descriptor.h"

/** Makes the folder of the nights, and those in it, where they are not there. FileIoException where one is
 * not this user's own, or another one may write it: what stands there decides on money. */
void PrepareFolder(const std::string& folder);
/** The same of a folder that is there. */
void CheckOwner(const std::string& folder);

/** The ledger that is there; FileIoException where there is none. */
Ledger OpenLedger(const std::string& folder, Database::Access access);

/** One night at a time, and none while runs of a former one have not ended. */
class NightLock {
public:
    /** False when another night has it, or runs of a killed one do not end. */
    bool Take(const std::string& folder);
    /** For every run to keep open. */
    int GetRunsLock() const { return m_runs.Get(); }

private:
    Descriptor m_night;
    Descriptor m_runs;
};

/** Puts right what a killed night has left: readings that nobody noted, files that the ledger does not know.
 * Each is told. */
void TakeOver(Ledger& ledger);

/** Names that do not begin with a point. */
std::vector<std::string> ListFolder(const std::string& folder);
/** Names of files in a folder by the number in them, which is the time at which they were named. */
std::map<long long, std::string> FindNumbered(const std::string& folder);

/** What a report's file is now: "there", "changed", "gone" or "unreadable". */
const char* DescribeFile(const Ledger& ledger, const Report& report);
