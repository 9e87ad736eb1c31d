#include "Options/CommandLine.h"

#include <algorithm>
#include <string_view>

#include "AppConfig.h"
#include "Exceptions.h"
#include "Format.h"
#include "System/Output.h"
#include "Tools.h"

namespace {

constexpr const char* productName = "TAVO";
constexpr const char* buildSuffix = "";
constexpr const char* buildDate = TAVO_BUILD_DATE;  // "Dec  3 2018"

constexpr struct {
    const char* keyword;
    Command command;
} commands[] = {{"Read", Command_Read},
                {"Send", Command_Send},
                {"Delete", Command_Delete},
                {"Clear", Command_Clear},
                {"ReadAndClear", Command_ReadAndClear},
                {"ClearAndSend", Command_ClearAndSend},
                {"Init", Command_Init},
                {"ExecuteFiscal", Command_ExecuteFiscal},
                {"ReadFiscalStatus", Command_ReadFiscalStatus},
                {"ReadEftStatus", Command_ReadEftStatus},
                {"RunServer", Command_RunServer},
                {"ExecuteServer", Command_ExecuteServer}};

bool IsFiscal(Command command) {
    return command == Command_ExecuteFiscal || command == Command_ReadFiscalStatus ||
           command == Command_ReadEftStatus;
}

bool HasFileArgument(Command command) {
    return command != Command_Init && command != Command_Clear && command != Command_RunServer &&
           command != Command_ExecuteServer;
}

}  // namespace

bool IsUsageRequested(int argc, char* argv[]) {
    if (argc < 2) return true;
    const std::string_view first = argv[1];
    const auto switches = {"/help", "/h", "/?", "-help", "-h", "-?"};
    return std::find(switches.begin(), switches.end(), first) != switches.end();
}

void ShowUsage() {
    const std::string date = buildDate;
    const std::string lines[] = {
        "Data exchange tool for ZEL ECRs.\n\n",
        Format("Version %s%s (Compiled: %s %s)\n", TAVO_VERSION, buildSuffix, buildDate, TAVO_BUILD_TIME),
        Format("Copyright (C) 2018-%s ZEL\n\n", date.substr(date.size() - 4).c_str()),
        "DATA PRESET AND REPORTS",
        "-----------------------\n",
        Format("  %s.EXE command data [filename] [parameters]\n\n", productName),
        "  command      - Read, Send, Delete, Clear, Init, ReadAndClear, ClearAndSend",
        "  data         - PRG section or report number",
        "  filename     - file name to use",
        "  parameters   - configuration parameters in form /Name=Value\n",
        "FISCAL PRINTER MODE",
        "-------------------\n",
        Format("  %s.EXE command filename [parameters]\n\n", productName),
        "  command      - ExecuteFiscal, ReadFiscalStatus, ReadEftStatus",
        "  filename     - file name to use",
        "  parameters   - configuration parameters in form /Name=Value"};
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    Print(text);
}

const char* GetVersion() { return TAVO_VERSION; }

std::string GetVersionText(const char* program) { return Format("%s %s\n", program, GetVersion()); }

std::string GetCommandLine(int argc, char* argv[]) {
    std::string commandLine = std::string("\"") + argv[0] + "\"";
    for (int i = 1; i < argc; i++) commandLine += Format(" %s", argv[i]);
    return Printable(commandLine);
}

std::string GetStartMessage(int argc, char* argv[]) {
    return Format("%s driver version %s%s started (as %s). Command line: %s", productName, TAVO_VERSION,
                  buildSuffix, "executable", GetCommandLine(argc, argv).c_str());
}

std::vector<std::string> GetCommandNames() {
    std::vector<std::string> names;
    for (const auto& entry : commands)
        if (entry.command < Command_RunServer) names.emplace_back(entry.keyword);
    return names;
}

const char* GetCommandName(Command command) {
    for (const auto& entry : commands)
        if (entry.command == command) return entry.keyword;
    return "";
}

Command ParseCommand(const std::string& data) {
    const std::string keyword = ToUpper(data);
    for (const auto& entry : commands)
        if (keyword == ToUpper(entry.keyword)) return entry.command;
    throw new CommandLineException("Unknown command");
}

bool IsNumber(const std::string& str) {
    return std::all_of(str.begin(), str.end(), [](char c) { return c >= '0' && c <= '9'; });
}

int ParseData(const std::string& data) {
    if (!IsNumber(data)) throw new CommandLineException("Unknown data type");
    return ToInt(data);
}

void ParseConfigParam(const std::string& param, std::string& name, std::string& value) {
    const size_t separator = param.find_first_of("=:");
    const bool isSwitch = !param.empty() && (param[0] == '/' || param[0] == '-');
    if (!isSwitch || separator == std::string::npos || separator == 1 || separator + 1 == param.size())
        throw new CommandLineException("Bad command line parameter: " + Printable(param));
    name = param.substr(1, separator - 1);
    value = param.substr(separator + 1);
}

void LoadSettings(const std::vector<std::string>& words) {
    AppConfig::Clear();
    for (const std::string& word : words) {
        std::string name;
        std::string value;
        ParseConfigParam(word, name, value);
        AppConfig::SetParameter(name, value, false);
    }
    AppConfig::Initialize();
    SetProgress(AppConfig::Get(settings::progress));
}

void LoadSettingsOf(int argc, char* argv[]) {
    std::vector<std::string> words;
    for (int i = 1; i < argc; i++) {
        std::string name;
        std::string value;
        if (TryQuietly([&] { ParseConfigParam(argv[i], name, value); })) words.emplace_back(argv[i]);
    }
    LoadSettings(words);
}

BaseCommandParameters CollectParameters(int argc, char* argv[]) {
    BaseCommandParameters params;
    int next = 1;
    const auto nextArgument = [&]() -> std::string {
        if (next >= argc) throw new CommandLineException("Not enough parameters");
        return argv[next++];
    };
    params.command = ParseCommand(nextArgument());
    params.isFiscalCommand = IsFiscal(params.command);
    if (!params.isFiscalCommand && params.command != Command_RunServer)
        params.data = ParseData(nextArgument());
    if (HasFileArgument(params.command)) params.filePath = nextArgument();

    LoadSettings({argv + next, argv + argc});
    return params;
}
