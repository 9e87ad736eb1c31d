#include "NightOptions.h"

namespace {

constexpr ProgramOption<NightOptions> optionTable[] = {
    {"--all", nullptr, "show reports in every state",
     [](NightOptions& o, const std::string&) { o.isAll = true; }},
    {"--json", nullptr, "as one JSON object", [](NightOptions& o, const std::string&) { o.isJson = true; }},
    {"--metrics", nullptr, "as Prometheus takes it; the status is 0",
     [](NightOptions& o, const std::string&) { o.isMetrics = true; }},
    {"--keep", nullptr, "it is to be booked", [](NightOptions& o, const std::string&) { o.isKept = true; }},
    {"--drop", nullptr, "it is not to be booked",
     [](NightOptions& o, const std::string&) { o.isDropped = true; }},
    {"--help", nullptr, "show this text",
     [](NightOptions& o, const std::string&) { o.isHelpRequested = true; }},
    {"--version", nullptr, "show the version",
     [](NightOptions& o, const std::string&) { o.isVersionRequested = true; }},
};

}  // namespace

NightOptions ParseNightOptions(int argc, char* argv[]) {
    NightOptions options;
    for (const std::string& word : ApplyOptions(optionTable, argc, argv, options).others) {
        // a page is made of folders
        const bool isPath =
            !options.words.empty() && options.words[0] == "page" && word.find('=') == std::string::npos;
        (word[0] == '/' && !isPath ? options.settings : options.words).push_back(word);
    }
    options.isHelpRequested = options.isHelpRequested || argc < 2;
    if (options.isHelpRequested || options.isVersionRequested) return options;
    if (options.words.empty()) throw new CommandLineException("no command; tavo-night --help");
    options.command = options.words[0];
    options.words.erase(options.words.begin());
    return options;
}

std::vector<OptionHelp> GetNightOptionHelp() { return GetOptionHelp(optionTable); }
