#include "CheckOptions.h"

#include "Options/CommandLine.h"
#include "Outcome/ExitStatus.h"
#include "Tools.h"

namespace {

void SetStatus(CheckOptions& options, const std::string& value) {
    if (value.empty() || value.size() > 3 || !IsNumber(value) || FindExitStatus(ToInt(value)) == nullptr)
        throw new CommandLineException("'" + Printable(value) + "' is no exit status of tavo");
    options.status = ToInt(value);
}

constexpr ProgramOption<CheckOptions> optionTable[] = {
    {"--fiscal", nullptr, "the file holds fiscal commands",
     [](CheckOptions& o, const std::string&) { o.isFiscal = true; }},
    {"--show", nullptr, "show what would be sent, field by field; a bitmap as a picture",
     [](CheckOptions& o, const std::string&) { o.isShown = true; }},
    {"--fix", "COPY", "write a corrected copy of the file, where the correction is certain, and check that",
     [](CheckOptions& o, const std::string& v) { o.fixedPath = v; }},
    {"--codepage", "NAME",
     "let --fix convert letters from UTF-8 into the register's code page, such as CP1257",
     [](CheckOptions& o, const std::string& v) { o.codePage = v; }},
    {"--setup", nullptr, "show what a run with these settings would use, in place of checking a file",
     [](CheckOptions& o, const std::string&) { o.isSetup = true; }},
    {"--json", nullptr, "show the findings as JSON objects, one a line; the setup as one",
     [](CheckOptions& o, const std::string&) { o.isJson = true; }},
    {"--strict", nullptr, "end with status 2 where there is a warning about the file",
     [](CheckOptions& o, const std::string&) { o.isStrict = true; }},
    {"--registers", nullptr, "show the registers that have a section in the INI file, one a line",
     [](CheckOptions& o, const std::string&) { o.areRegistersListed = true; }},
    {"--file-name", "REGISTER", "show what stands for {ECR} in the file names of this register",
     [](CheckOptions& o, const std::string& v) { o.namedRegister = v; }},
    {"--status", "N", "show what exit status N of tavo means, and what to do", SetStatus},
    {"--class", nullptr,
     "of the status show the class only: ok, retry, fix-file, fix-setup, register or report",
     [](CheckOptions& o, const std::string&) { o.isClassAsked = true; }},
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
