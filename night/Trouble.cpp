#include "Trouble.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "Format.h"
#include "Html.h"
#include "Outcome/ExitStatus.h"

namespace {

constexpr size_t namedRegisters = 12;  // in a card

/** What several registers have in common. */
struct Group {
    std::string className;
    std::string told;
    std::vector<std::pair<const Entry*, std::vector<const JobStatus*>>> members;
    int nights = 0;  // at most, that it was not well
};

/** Whether one of its jobs was not well for more than a night; in the morning the last but one is 31 hours
 * ago. */
bool IsLong(const Entry& entry) {
    constexpr long long longestMs = 36LL * 3'600'000;
    const std::vector<const JobStatus*> jobs = entry.GetTrouble();
    return std::any_of(jobs.begin(), jobs.end(),
                       [](const JobStatus* job) { return GetWallTime() - job->lastGood > longestMs; });
}

/** What stands before the text that was told: "5 CommunicationError: ..."; null for none. */
const ExitStatus* FindStatus(const std::string& told) {
    const ExitStatus* const status = FindExitStatus(std::atoi(told.c_str()));
    const bool isTold = status != nullptr && told.find(Format("%d %s: ", status->code, status->name)) == 0;
    return isTold ? status : nullptr;
}

/** Whether a shell takes it as it stands, as it does an id: a copied ledger may hold anything. */
bool IsPlainWord(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr("_.%+-", c) != nullptr;
    });
}

constexpr int never = INT_MAX;

/** Nights since it was well, or never. */
int CountNights(const JobStatus& job) {
    if (job.lastGood == 0) return never;
    return static_cast<int>(std::max(1LL, (GetWallTime() - job.lastGood + msPerDay / 2) / msPerDay));
}

int CountNights(const std::vector<const JobStatus*>& jobs) {
    int most = 0;
    for (const JobStatus* job : jobs) most = std::max(most, CountNights(*job));
    return most;
}

std::vector<Group> GroupJobs(const std::vector<Entry>& entries, bool isLong) {
    std::vector<Group> groups;
    std::map<std::string, size_t> known;
    for (const Entry& entry : entries) {
        if (IsLong(entry) != isLong || IsSilent(*entry.machine)) continue;
        for (const JobStatus* job : entry.GetTrouble()) {
            const std::string className = GetShownClass(*job);
            const auto [place, isNew] = known.emplace(className + "\n" + job->told, groups.size());
            if (isNew) groups.push_back({className, job->told, {}, 0});
            Group& group = groups[place->second];
            if (group.members.empty() || group.members.back().first != &entry)
                group.members.push_back({&entry, {}});
            group.members.back().second.push_back(job);
            group.nights = std::max(group.nights, CountNights(*job));
        }
    }
    std::stable_sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) {
        return a.nights != b.nights ? a.nights > b.nights : a.members.size() > b.members.size();
    });
    return groups;
}

std::string GetWhatToDo(const Group& group) {
    static const std::map<int, const char*> advice = {
        {ReturnCode_EcrBusy, "leave it free at night: close what is open, and turn its key"},
        {ReturnCode_CommunicationError, "see whether the register is on, and its cable is in"},
        {ReturnCode_BadPassword,
         "write its password into its section of TAVO.ini on that machine: Password = ..."}};
    const ExitStatus* const status = FindStatus(group.told);
    const auto found = status == nullptr ? advice.end() : advice.find(status->code);
    std::string text = found != advice.end()           ? found->second
                       : status != nullptr             ? status->whatToDo
                       : group.className == "fix-file" ? "correct that line of the prices"
                                                       : "";
    // of commands that no night executes, or that it settles by itself
    for (const char* other : {"; after ExecuteFiscal", "; what a ReadAndClear"})
        text.resize(std::min(text.find(other), text.size()));
    if (group.className == "retry")
        text += (text.empty() ? "" : ". ") + std::string("The next night tries again.");
    return text.empty() ? "" : "<p>What to do: " + EscapeHtml(text);
}

/** "shop1: Till 1 (prices: 1 night, report 70: never well)" */
std::string MakeMember(const Entry& entry, const std::vector<const JobStatus*>& jobs) {
    std::string text = entry.GetLink() + " (";
    for (const JobStatus* job : jobs) {
        const int nights = CountNights(*job);
        text += (job == jobs[0] ? "" : ", ") + EscapeHtml(job->name) +
                (nights == never ? ": never well"
                 : nights == 1   ? ": 1 night"
                                 : Format(": %d nights", nights));
    }
    return text + ")";
}

std::string MakeCard(Group& group) {
    std::stable_sort(group.members.begin(), group.members.end(), [](const auto& a, const auto& b) {
        return CountNights(a.second) > CountNights(b.second);
    });
    std::string text = "<h3>";
    if (group.members.size() > 1) text += Format("%zu registers: ", group.members.size());
    for (size_t i = 0; i < std::min(group.members.size(), namedRegisters); i++)
        text += (i == 0 ? "" : ", ") + MakeMember(*group.members[i].first, group.members[i].second);
    if (group.members.size() > namedRegisters)
        text += Format(" and %zu more", group.members.size() - namedRegisters);
    return text + "</h3><p>" + MakeBadge(group.className) + " " + EscapeHtml(group.told) + GetWhatToDo(group);
}

/** Those of which nothing was heard, and what a machine itself has to tell. */
std::vector<std::string> MakeMachineCards(const std::vector<Machine>& machines,
                                          const std::vector<Entry>& entries) {
    std::vector<std::string> cards;
    for (const Machine& machine : machines) {
        const std::string heading = "<h3>" + EscapeHtml(machine.name) + "</h3><p>";
        if (IsSilent(machine)) {
            cards.push_back(heading + MakeBadge("missing") + " nothing was heard of it since " +
                            FormatMinute(machine.time) +
                            ". What to do: see whether the machine is on, and its network up.");
            for (const Entry& entry : entries)
                if (const std::vector<const JobStatus*> jobs = entry.GetTrouble();
                    entry.machine == &machine && !jobs.empty())
                    cards.back() += "<p>Not well then: " + MakeMember(entry, jobs) + ".";
        }
        for (const std::string& problem : machine.status.problems)
            cards.push_back(heading + EscapeHtml(problem));
    }
    return cards;
}

std::vector<std::string> MakeJobCards(const std::vector<Entry>& entries, bool isLong) {
    std::vector<std::string> cards;
    for (Group& group : GroupJobs(entries, isLong)) cards.push_back(MakeCard(group));
    return cards;
}

std::string DescribeReport(const Report& report) {
    return Format("report %d of %s, %lld records: ", report.section, FormatMinute(report.begun).c_str(),
                  report.records) +
           EscapeHtml(report.file);
}

std::vector<std::string> MakeWaitingCards(const std::vector<Machine>& machines) {
    std::vector<std::string> cards;
    for (const Machine& machine : machines)
        for (const Report& report : machine.status.waiting) {
            std::string card = "<h3>" + EscapeHtml(machine.name + ": " + report.registerName) + "</h3><p>" +
                               DescribeReport(report) + "<p>" + EscapeHtml(report.reason);
            const auto next = machine.nextReports.find(report.id);
            if (next != machine.nextReports.end()) card += "<p>The next one: " + DescribeReport(next->second);
            if (IsPlainWord(machine.name + report.id))
                for (const char* decision : {"keep", "drop"})
                    card += "<p><code>" + (machine.isCopied ? "ssh " + machine.name + " " : "") +
                            "sudo -u tavo tavo-night settle " + report.id + " --" + decision + "</code>";
            cards.push_back(card);
        }
    return cards;
}

std::vector<std::string> MakeLineCards(const std::vector<Entry>& entries) {
    std::vector<std::pair<LineTrend, const Entry*>> worse;
    for (const Entry& entry : entries)
        if (const LineTrend trend = GetLineTrend(*entry.nights); trend.isWorse)
            worse.emplace_back(trend, &entry);
    std::stable_sort(worse.begin(), worse.end(),
                     [](const auto& a, const auto& b) { return a.first.recent > b.first.recent; });
    std::vector<std::string> cards;
    cards.reserve(worse.size());
    for (const auto& [trend, entry] : worse)
        cards.push_back(
            "<h3>" + entry->GetLink() + "</h3><p>" +
            Format("Of 1000 frames %.1f were lost, garbled or repeated in its newest three nights, "
                   "where it had been %.1f. What to do: change its cable or adapter before it fails.",
                   trend.recent, trend.former));
    return cards;
}

}  // namespace

std::string Entry::GetLink() const {
    return Format("<a href=\"#r%zu\">", place) + EscapeHtml(GetName()) + "</a>";
}

std::vector<const JobStatus*> Entry::GetTrouble() const {
    std::vector<const JobStatus*> trouble;
    for (const JobStatus* job : jobs)
        if (job->className != "ok") trouble.push_back(job);
    return trouble;
}

std::string Entry::GetClass() const {
    std::string worst = IsSilent(*machine) ? "missing" : "ok";
    for (const JobStatus* job : jobs)
        if (GetRank(GetShownClass(*job)) > GetRank(worst)) worst = GetShownClass(*job);
    return worst;
}

std::vector<CardSection> FindTrouble(const std::vector<Machine>& machines,
                                     const std::vector<Entry>& entries) {
    const char* const cost =
        "What was not read is still in the register, and a later night reads it. Where prices were not sent "
        "the former ones hold.";
    return {{"Machines", "", MakeMachineCards(machines, entries)},
            {"Not well for more than a night, or never", cost, MakeJobCards(entries, true)},
            {"Waiting for a decision", "", MakeWaitingCards(machines)},
            {"Failed last night", cost, MakeJobCards(entries, false)},
            {"Lines that get worse, the worst first", "", MakeLineCards(entries)}};
}

std::string GetShownClass(const JobStatus& job) {
    const ExitStatus* const status = FindStatus(job.told);
    return job.className == "missing" && status != nullptr ? statusClassNames[status->statusClass]
                                                           : job.className;
}

std::string FormatMinute(long long ms) {
    std::string text = FormatWallTime(ms);
    text.replace(10, 1, " ");
    return ms == 0 ? "never" : text.substr(0, 16);
}
