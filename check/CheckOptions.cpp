#include "CheckOptions.h"

namespace {

constexpr ProgramOption<CheckOptions> optionTable[] = {
    {"--fiscal", nullptr, "the file holds fiscal commands",
     [](CheckOptions& o, const std::string&) { o.isFiscal = true; }},
    {"--show", nullptr, "show what would be sent, field by field; a bitmap as a picture",
     [](CheckOptions& o, const std::string&) { o.isShown = true; }},
    {"--setup", nullptr, "show what a run with these settings would use, in place of checking a file",
     [](CheckOptions& o, const std::string&) { o.isSetup = true; }},
    {"--json", nullptr, "show the setup as one JSON object",
     [](CheckOptions& o, const std::string&) { o.isJson = true; }},
    {"--help", nullptr, "show this text",
     [](CheckOptions& o, const std::string&) { o.isHelpRequested = true; }},
    {"--version", nullptr, "show the version",
     [](CheckOptions& o, const std::string&) { o.isVersionRequested = true; }},
};

}  // namespace

CheckOptions ParseCheckOptions(int argc, char* argv[]) {
    CheckOptions options;
    options.words = ApplyOptions(optionTable, argc, argv, options).others;
    options.isHelpRequested = options.isHelpRequested || argc < 2;
    return options;
}

std::vector<OptionHelp> GetCheckOptionHelp() { return GetOptionHelp(optionTable); }
