#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include "NightSettings.h"
#include "Outcome/ExitStatus.h"

/** A file of prices as it is sent. */
struct CheckedPrices {
    std::string copy;  // what was checked is what is sent, whatever happens to the file meanwhile
    StatusClass statusClass = StatusClass_Ok;
    std::string told;                 // why it is kept back
    std::set<std::string> registers;  // that would have got it
};

/** Checks each file once for all registers with the same rules, by tavo-check --strict. */
class PriceCheck {
public:
    /** programs: the folder of tavo-check, with a slash. */
    PriceCheck(const NightSettings& night, std::string programs);

    /** Nothing is sent to a register without such a file. */
    static bool HasPrices(const RegisterSettings& settings);
    const CheckedPrices& Check(const RegisterSettings& settings);
    /** A line for each file that is kept back. */
    std::vector<std::string> GetFindings() const;

private:
    CheckedPrices Examine(const RegisterSettings& settings) const;

    const NightSettings& m_night;
    std::string m_programs;
    std::map<std::string, CheckedPrices> m_checked;  // by file, section and rules
};
