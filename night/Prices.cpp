#include "Prices.h"

#include <memory>

#include "Children.h"
#include "Exceptions.h"
#include "Format.h"
#include "Path.h"
#include "ReportFile.h"
#include "System/AtomicFile.h"
#include "Tools.h"

namespace {

constexpr size_t largestPrices = size_t{64} << 20U;

/** Of a program's output, with what follows on its line only. */
std::string GetFirstLine(const std::string& output) {
    return TrimRight(output.substr(0, output.find('\n')), " \r");
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
        bytes = ReadRegularFile(settings.prices, true, largestPrices);
    } catch (Exception* e) {
        const std::unique_ptr<Exception> failure(e);
        checked.told = failure->Explain();
        return checked;
    }
    if (!bytes) {
        checked.told = Format("it is no regular file of at most %zu bytes", largestPrices);
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
    words.push_back("/Progress=0");
    const PassingFile output("");
    constexpr int limitMs = 600'000;
    const ExitStatus* const status = FindExitStatus(RunCommand(words, {-1, output.Get(), -1}, limitMs));
    checked.statusClass = status != nullptr ? status->statusClass : StatusClass_FixSetup;
    if (checked.statusClass != StatusClass_Ok)
        checked.told = status == nullptr
                           ? "tavo-check could not be run to its end"
                           : GetFirstLine(output.Read()) +
                                 Format("; tavo-check --strict %d FILE tells all", settings.section);
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
