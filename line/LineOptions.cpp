#include "LineOptions.h"

namespace {

constexpr ProgramOption<LineOptions> optionTable[] = {
    {"--record", "FILE", "keep what tap carries in this file, for ecrsim --replay",
     [](LineOptions& o, const std::string& v) { o.recordPath = v; }},
    {"--trace=json", nullptr, "show what passes as JSON objects, one a line",
     [](LineOptions& o, const std::string&) { o.trace = TraceForm::Json; }},
    {"--show-passwords", nullptr, "keep passwords in the recording, which hides them otherwise",
     [](LineOptions& o, const std::string&) { o.arePasswordsShown = true; }},
    {"--help", nullptr, "show this text",
     [](LineOptions& o, const std::string&) { o.isHelpRequested = true; }},
    {"--version", nullptr, "show the version",
     [](LineOptions& o, const std::string&) { o.isVersionRequested = true; }},
};

}  // namespace

LineOptions ParseLineOptions(int argc, char* argv[]) {
    LineOptions options;
    const CommandWords words = ApplyOptions(optionTable, argc, argv, options);
    options.words = words.others;
    options.isHelpRequested = options.isHelpRequested || argc < 2;
    if (options.isHelpRequested || options.isVersionRequested) return options;
    if (options.words.empty()) throw new CommandLineException("No action");
    options.action = options.words[0];
    options.words.erase(options.words.begin());
    if (options.action != "tap" && !words.options.empty())
        throw new CommandLineException(words.options[0] + " is for tap only");
    return options;
}

std::vector<OptionHelp> GetLineOptionHelp() { return GetOptionHelp(optionTable); }
