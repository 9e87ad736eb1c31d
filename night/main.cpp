#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>

#include "Children.h"
#include "Exceptions.h"
#include "Format.h"
#include "NightFolder.h"
#include "NightOptions.h"
#include "NightPlan.h"
#include "NightRun.h"
#include "Options/CommandLine.h"
#include "Page.h"
#include "Reports.h"
#include "Status.h"
#include "System/AtomicFile.h"
#include "System/Output.h"
#include "Tools.h"

namespace {

int Refuse(const std::string& why) {
    std::fprintf(stderr, "tavo-night: %s\n", why.c_str());
    return statusPerson;
}

/** What a failure wants: it may be over when a later run begins, or a person has to end it. */
int TellFailure(Exception* e, std::string& told) {
    const std::unique_ptr<Exception> failure(e);
    told = failure->Explain();
    Refuse(told);
    constexpr int passing[] = {ENOSPC, EDQUOT, EAGAIN, ENOMEM, EMFILE, ENFILE};
    const bool isPassing =
        std::find(std::begin(passing), std::end(passing), failure->GetError()) != std::end(passing);
    return isPassing ? statusLater : statusPerson;
}

/** Tells whoever is to know: of every run that was not well, and once when all is well again. */
void TellOthers(const NightSettings& settings, int status, const std::string& failure) {
    const std::string told = settings.folder + "/told";
    if (settings.onTrouble.empty() || (status == statusWell && !File::Exists(told))) return;
    const Status now = failure.empty() ? GetStatus(settings) : GetStatusOfFailure(failure, status);
    if (status == statusWell && now.status != statusWell) return;  // a run for some registers
    if (status != statusWell) TryQuietly([&] { ReplaceFile(told, ""); });
    constexpr int limitMs = 60'000;
    const PassingFile input(ToJson(now) + "\n");
    const int result =
        RunCommand({"/bin/sh", "-c", settings.onTrouble}, {input.Get(), STDOUT_FILENO, -1}, limitMs);
    if (result != 0)
        Print(Format("OnTrouble ended with %d\n", result));
    else if (status == statusWell)
        File::Delete(told);
}

int Run(const NightOptions& options) {
    const NightSettings settings = LoadNightSettings(options.settings);
    const std::vector<const RegisterSettings*> served = SelectRegisters(settings, options.words);
    std::string failure;
    std::optional<int> status;
    try {
        status = RunNight(settings, served);
        if (!status) {
            Print("another night is at work in " + Printable(settings.folder) +
                  ", or its runs have not ended\n");
            return statusLater;
        }
    } catch (Exception* e) {
        status = TellFailure(e, failure);
    } catch (const std::bad_alloc&) {
        failure = "not enough memory";
        status = statusLater;
    }
    TryQuietly([&] { TellOthers(settings, *status, failure); });
    return *status;
}

int ShowStatus(const NightOptions& options) {
    Status status;
    try {
        status = GetStatus(LoadNightSettings(options.settings));
    } catch (Exception* e) {
        const std::unique_ptr<Exception> failure(e);
        status = GetStatusOfFailure(failure->Explain(), statusPerson);
    }
    Print(options.isMetrics ? ToMetrics(status) : options.isJson ? ToJson(status) + "\n" : ToText(status));
    return options.isMetrics ? statusWell : status.status;
}

int ShowReports(const NightOptions& options) {
    Ledger ledger = OpenLedger(LoadNightSettings(options.settings).folder, Database::Access::Read);
    ShowReports(ledger, options.isAll, options.isJson);
    return statusWell;
}

int Book(const NightOptions& options) {
    if (options.words.empty()) return Refuse("book needs the ID of a report");
    Ledger ledger = OpenLedger(LoadNightSettings(options.settings).folder, Database::Access::Write);
    return Book(ledger, options.words) ? statusWell : statusPerson;
}

int Settle(const NightOptions& options) {
    if (options.words.empty() || options.isKept == options.isDropped)
        return Refuse("settle needs the ID of a report, and --keep or --drop");
    Ledger ledger = OpenLedger(LoadNightSettings(options.settings).folder, Database::Access::Write);
    return DecideOn(ledger, options.words, options.isKept) ? statusWell : statusPerson;
}

int ShowPage(const NightOptions& options) {
    std::vector<Machine> machines;
    for (const std::string& folder : options.words) machines.push_back(LoadCopies(folder));
    if (options.words.empty()) machines.push_back(LoadThisMachine(LoadNightSettings(options.settings)));
    Print(MakePage(machines));
    return statusWell;
}

int Prune(const NightOptions& options) {
    const NightSettings settings = LoadNightSettings(options.settings);
    Ledger ledger = OpenLedger(settings.folder, Database::Access::Write);
    Prune(ledger, settings.keepMs);
    return statusWell;
}

constexpr struct {
    const char* name;
    const char* words;
    const char* meaning;
    int (*run)(const NightOptions& options);
} commands[] = {
    {"run", "[REGISTER...]",
     "the night: prices, then reports, for each register of the INI file, side by side; goes on with one "
     "that was cut "
     "off",
     Run},
    {"reports", "[--all] [--json]", "what is to be booked, and what waits for a person", ShowReports},
    {"book", "ID...", "these have been booked", Book},
    {"settle", "ID... --keep|--drop", "decide about those that wait: they are to be booked, or not", Settle},
    {"status", "[--json|--metrics]", "how things stand for each register", ShowStatus},
    {"page", "[FOLDER...]", "a page in HTML for the morning, of this machine or of copies of many", ShowPage},
    {"prune", "", "remove the files of what was booked long ago", Prune}};

std::string GetUsage() {
    std::string text =
        "Usage: tavo-night COMMAND [options] [/Name=Value ...]\nMany registers, every night; each report is "
        "to be booked exactly once.\n\n";
    for (const auto& command : commands)
        text += Format("  %-29s %s\n", Format("%s %s", command.name, command.words).c_str(), command.meaning);
    return text + "\n" + FormatOptionHelp(GetNightOptionHelp(), 29) +
           "\nEnds with 0 when all is well, 75 when a later run may mend it, otherwise 1: a person is "
           "wanted.\n";
}

int RunCommandLine(int argc, char* argv[]) {
    const NightOptions options = ParseNightOptions(argc, argv);
    if (options.isHelpRequested || options.isVersionRequested) {
        Print(options.isHelpRequested ? GetUsage() : GetVersionText("tavo-night"));
        return statusWell;
    }
    for (const auto& command : commands)
        if (options.command == command.name) {
            const int status = command.run(options);
            // a page or list that is cut off must not pass for whole; the night itself has its ledger
            const bool isWhole = command.run == Run || !IsOutputLost();
            return isWhole || status != statusWell ? status : Refuse("its output could not be written");
        }
    return Refuse("no command " + Printable(options.command) + "; tavo-night --help");
}

int RunToEnd(int argc, char* argv[]) {
    try {
        return RunCommandLine(argc, argv);
    } catch (Exception* e) {
        std::string told;
        return TellFailure(e, told);
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    OpenStandardDescriptors();
    try {
        return RunToEnd(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("tavo-night: not enough memory\n", stderr);
        return statusLater;
    }
}
