#include "Page.h"

#include <algorithm>
#include <cstring>

#include "Format.h"
#include "Html.h"
#include "Trouble.h"

namespace {

/** For sorting: Till 10 stands behind Till 2. */
bool IsBefore(const std::string& a, const std::string& b) { return strverscmp(a.c_str(), b.c_str()) < 0; }

/** "Sat 2026-11-21" */
std::string FormatDate(int date) {
    const time_t time = static_cast<time_t>(date) * (msPerDay / 1000);
    tm parts{};
    gmtime_r(&time, &parts);
    char text[32];
    strftime(text, sizeof text, "%a %Y-%m-%d", &parts);
    return text;
}

/** Nights in a row in which the same was not well. */
struct Spell {
    int newest;
    int oldest;
    const std::map<std::string, std::string>* told;
};

class Page {
public:
    explicit Page(const std::vector<Machine>& machines);
    std::string GetText();

private:
    void AddSummary();
    void AddCards(const CardSection& section);
    void AddGrid();
    void AddRegisters();
    void AddRegister(const Entry& entry);
    std::string MakeStrip(const Entry& entry) const;
    std::string GetClass(const Entry& entry, int date) const;

    const std::vector<Machine>& m_machines;
    std::vector<Entry> m_entries;
    int m_newest = 0;  // a date
    int m_oldest = 0;
    std::string m_text;
};

Page::Page(const std::vector<Machine>& machines) : m_machines(machines) {
    const int today = GetDate(GetWallTime() + msPerDay);  // a clock may be wrong
    for (const Machine& machine : machines)
        for (const auto& [name, nights] : machine.registers) {
            Entry entry{&machine, name, &nights, {}, 0};
            for (const JobStatus& job : machine.status.jobs)
                if (job.registerName == name) entry.jobs.push_back(&job);
            m_entries.push_back(entry);
            for (const auto& [date, night] : nights)
                if (date <= today) m_newest = std::max(m_newest, date);
        }
    m_oldest = m_newest;
    for (const Entry& entry : m_entries)
        if (!entry.nights->empty())
            m_oldest = std::max(std::min(m_oldest, entry.nights->begin()->first), m_newest - shownNights + 1);
    std::stable_sort(m_entries.begin(), m_entries.end(), [](const Entry& a, const Entry& b) {
        return a.machine->name != b.machine->name ? IsBefore(a.machine->name, b.machine->name)
                                                  : IsBefore(a.name, b.name);
    });
    for (size_t i = 0; i < m_entries.size(); i++) m_entries[i].place = i + 1;
}

std::string Page::GetText() {
    const std::vector<CardSection> trouble = FindTrouble(m_machines, m_entries);
    size_t count = 0;
    for (const CardSection& section : trouble) count += section.cards.size();
    m_text = std::string(htmlHead) + "<h1>Registers in the morning</h1><p>Made " +
             FormatMinute(GetWallTime()) +
             Format(" from %zu machines with %zu registers", m_machines.size(), m_entries.size());
    m_text += m_newest == 0 ? ".\n" : ", newest night: " + FormatDate(m_newest) + ".\n";
    m_text += count == 0 ? "<p><strong>All is well: there is nothing to do.</strong>\n"
                         : Format("<p><strong>Things to look at: %zu</strong>\n", count);
    AddSummary();
    for (const CardSection& section : trouble) AddCards(section);
    if (m_newest != 0) AddGrid();
    AddRegisters();
    return m_text;
}

void Page::AddSummary() {
    m_text += "<ul class=\"counts\">";
    for (size_t rank = std::size(nightClasses); rank-- > 0;) {
        const char* const name = nightClasses[rank].name;
        const auto count = std::count_if(m_entries.begin(), m_entries.end(),
                                         [&](const Entry& entry) { return entry.GetClass() == name; });
        if (count > 0) m_text += "<li>" + MakeBadge(name, Format("%zd ", static_cast<ssize_t>(count)));
    }
    m_text += "</ul>\n";
}

void Page::AddCards(const CardSection& section) {
    if (section.cards.empty()) return;
    m_text += std::string("<h2>") + section.heading + "</h2><p>" + section.note + "<ul class=cards>";
    for (const std::string& card : section.cards) m_text += "<li>" + card + "\n";
    m_text += "</ul>\n";
}

/** Between its first night and the newest one a night without it is missing. */
std::string Page::GetClass(const Entry& entry, int date) const {
    const auto night = entry.nights->find(date);
    if (night != entry.nights->end()) return night->second.className;
    return !entry.nights->empty() && date > entry.nights->begin()->first ? "missing" : "";
}

/** A letter for each night, the newest one first; for who hears the page how many there are of which. */
std::string Page::MakeStrip(const Entry& entry) const {
    std::string strip;
    std::string former;
    std::map<size_t, int> counts;
    const auto isMarked = [](const std::string& name) { return !name.empty() && name != "ok"; };
    const auto end = [&] { strip += isMarked(former) ? "</i>" : ""; };
    for (int date = m_newest; date >= m_oldest; date--) {
        const std::string name = GetClass(entry, date);
        if (name != former) {
            end();
            if (isMarked(name)) strip += "<i class=" + name + ">";
        }
        former = name;
        strip += name.empty() ? ' ' : nightClasses[GetRank(name)].letter;
        if (!name.empty()) counts[GetRank(name)]++;
    }
    end();
    std::string said;
    for (const auto& [rank, count] : counts) said += Format("%d %s ", count, nightClasses[rank].name);
    return "<span aria-hidden=true>" + strip + "</span><span class=said>" + said + "</span>";
}

void Page::AddGrid() {
    m_text +=
        "<h2 id=nights>All nights</h2><div class=grid role=region aria-labelledby=nights tabindex=0><table>"
        "<caption>The worst of a register's jobs in each night, the newest night at the left; each job by "
        "its last run. A night goes from noon to noon and has the date of its evening. ";
    for (const NightClass& row : nightClasses)
        m_text += Format("<i class=%s>%c</i> %s, ", row.name, row.letter, row.name);
    m_text +=
        "blank: before its first night.</caption><thead><tr><th scope=col>Register<td aria-hidden=true>";
    std::string months;
    std::string tens;
    std::string ones;
    for (int date = m_newest; date >= m_oldest; date--) {
        const std::string day = FormatDate(date);  // "Sat 2026-11-21"
        const std::string month = day.substr(4, 7);
        if (date == m_newest || month != FormatDate(date + 1).substr(4, 7)) {
            months.resize(static_cast<size_t>(m_newest - date), ' ');
            months += month;
        }
        tens += day[12];
        ones += day[13];
    }
    m_text += months + "\n" + tens + "\n" + ones + "<tbody>\n";
    for (const Entry& entry : m_entries)
        m_text += "<tr><th scope=row>" + entry.GetLink() + "<td>" + MakeStrip(entry) + "\n";
    m_text += "</table></div>\n";
}

/** A bar for each night, the newest one left, as in the grid; none where it is less than 0. */
std::string MakePlot(const char* name, const std::vector<double>& values, double least) {
    constexpr double height = 28;
    const double most = *std::max_element(values.begin(), values.end());
    const double scale = height / std::max(least, most);  // a single disturbance is no tall bar
    std::string bars;
    for (size_t i = 0; i < values.size(); i++)
        if (values[i] >= 0) bars += Format("M%zu 30v-%.0f", 3 * i + 1, values[i] * scale + 1);
    return Format("<figure><svg viewBox=\"0 0 %d 30\" preserveAspectRatio=none aria-hidden=true><path d=\"",
                  3 * shownNights) +
           bars +
           Format("\"/></svg><figcaption>%s: last <b>%.1f</b>, at most %.1f</figcaption></figure>", name,
                  std::max(values.front(), 0.0), std::max(most, 0.0));
}

void Page::AddRegister(const Entry& entry) {
    m_text += Format("<section id=r%zu><h3>", entry.place) + EscapeHtml(entry.GetName()) + "</h3>";
    if (IsSilent(*entry.machine)) m_text += "<p>As it stood at " + FormatMinute(entry.machine->time) + ":";
    for (const JobStatus* job : entry.jobs)
        m_text += "<p>" + EscapeHtml(job->name) + " " + MakeBadge(GetShownClass(*job)) +
                  "; well: " + FormatMinute(job->lastGood);
    std::vector<double> seconds(shownNights, -1);
    std::vector<double> disturbed(shownNights, -1);
    std::vector<Spell> spells;
    for (int date = m_newest; date >= m_oldest; date--) {
        const auto found = entry.nights->find(date);
        if (found == entry.nights->end()) continue;
        const RegisterNight& night = found->second;
        const auto place = static_cast<size_t>(m_newest - date);
        seconds[place] = night.seconds;
        if (night.frames > 0) disturbed[place] = night.GetDisturbance();
        if (night.told.empty()) continue;
        if (spells.empty() || spells.back().oldest != date + 1 || *spells.back().told != night.told)
            spells.push_back({date, date, &night.told});
        spells.back().oldest = date;
    }
    if (!entry.nights->empty())
        m_text += "<div class=plots>" + MakePlot("Seconds", seconds, 1) +
                  MakePlot("Disturbed of 1000 frames", disturbed, 10) + "</div>";
    if (!spells.empty()) m_text += "<details><summary>Nights that were not well</summary><ul>";
    for (const Spell& spell : spells) {
        m_text += "<li>" + (spell.oldest < spell.newest ? FormatDate(spell.oldest) + " to " : "") +
                  FormatDate(spell.newest) + ":";
        for (const auto& [told, names] : *spell.told)
            m_text += " " + EscapeHtml(names) + " " + EscapeHtml(told) + ".";
    }
    if (!spells.empty()) m_text += "</ul></details>";
    m_text += "</section>\n";
}

void Page::AddRegisters() {
    if (!m_entries.empty()) m_text += "<h2>Registers</h2>\n";
    for (const Entry& entry : m_entries) AddRegister(entry);
}

}  // namespace

std::string MakePage(const std::vector<Machine>& machines) { return Page(machines).GetText(); }
