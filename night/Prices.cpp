#include "Prices.h"

#include <cstring>
#include <memory>

#include "Children.h"
#include "Exceptions.h"
#include "Format.h"
#include "Path.h"
#include "ReportFile.h"
#include "System/AtomicFile.h"
#include "Tools.h"

namespace {

/** What tells most: the first line of a program's output that is not of the end. */
std::string GetFirstLine(const std::string& output) {
    for (size_t start = 0, end; start < output.size(); start = end + 1) {
        end = std::min(output.find('\n', start), output.size());
        std::string line = output.substr(start, end - start);
        if (line.compare(0, 4, "Line") == 0 || line.compare(0, 4, "line") == 0) return line;
    }
    return Trim(output.substr(0, output.find('\n')), " ");
}

}  // namespace

PriceCheck::PriceCheck(const NightSettings& night, std::string programs)
    : m_night(night), m_programs(std::move(programs)) {}

bool PriceCheck::HasPrices(const RegisterSettings& settings) { return File::Exists(settings.prices); }

const CheckedPrices& PriceCheck::Check(const RegisterSettings& settings) {
    const std::string rules =
        settings.prices + "\n" + std::to_string(settings.section) + "\n" + settings.fileRules;
    auto found = m_checked.find(rules);
    if (found == m_checked.end()) found = m_checked.emplace(rules, Examine(settings)).first;
    found->second.registers.insert(settings.name);
    return found->second;
}

CheckedPrices PriceCheck::Examine(const RegisterSettings& settings) const {
    CheckedPrices checked;
    checked.statusClass = StatusClass_FixSetup;
    std::optional<std::string> bytes;
    try {
        bytes = ReadRegularFile(settings.prices, true);
    } catch (Exception* e) {
        const std::unique_ptr<Exception> failure(e);
        checked.told = failure->GetDisplayMessage() + ": " + std::strerror(failure->GetError());
        return checked;
    }
    if (!bytes) {
        checked.told = "it is no regular file";
        return checked;
    }
    // its kind of file goes by the ending of its name
    const std::string name = Path::GetFileName(settings.prices);
    const size_t ending = name.rfind('.');
    checked.copy = m_night.folder + "/sent/" + GetSha256(*bytes) +
                   (ending == std::string::npos ? "" : "." + Path::EncodeName(name.substr(ending + 1)));
    ReplaceFile(checked.copy, *bytes);
    std::vector<std::string> words = {m_programs + "tavo-check", "--strict", std::to_string(settings.section),
                                      checked.copy};
    words.insert(words.end(), m_night.forEveryRun.begin(), m_night.forEveryRun.end());
    words.push_back("/ECR=" + settings.name);
    const CommandResult check = RunCommand(words, "", -1);
    const ExitStatus* const status = FindExitStatus(check.status);
    checked.statusClass = status != nullptr ? status->statusClass : StatusClass_FixSetup;
    if (checked.statusClass != StatusClass_Ok)
        checked.told = status != nullptr ? GetFirstLine(check.output) : "tavo-check could not be started";
    return checked;
}

std::vector<std::string> PriceCheck::GetFindings() const {
    std::vector<std::string> findings;
    for (const auto& [rules, checked] : m_checked) {
        if (checked.statusClass == StatusClass_Ok) continue;
        std::string registers;
        for (const std::string& name : checked.registers) registers += (registers.empty() ? "" : ", ") + name;
        findings.push_back(Printable(rules.substr(0, rules.find('\n'))) + " is kept back (" +
                           statusClassNames[checked.statusClass] + "): " + Printable(checked.told) +
                           "; for " + registers);
    }
    return findings;
}
