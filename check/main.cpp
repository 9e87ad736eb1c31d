#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "AppConfig.h"
#include "CommandLine.h"
#include "Defaults.h"
#include "Diagnosis.h"
#include "Driver.h"
#include "Exceptions.h"
#include "Format.h"
#include "InputFile.h"
#include "Output.h"
#include "RecordText.h"
#include "Settings.h"

namespace {

constexpr const char* usage =
    "Usage: tavo-check [--show] SECTION FILE [/Name=Value ...]\n"
    "       tavo-check [--show] --fiscal FILE [/Name=Value ...]\n"
    "Checks a file as tavo Send SECTION FILE, or tavo ExecuteFiscal FILE, would: the same messages by line "
    "and the\n"
    "same exit status, as far as these do not depend on the register. Then says what is wrong with each "
    "line.\n\n"
    "  --fiscal   the file holds fiscal commands\n"
    "  --show     show what would be sent, field by field; a bitmap as a picture\n";

struct Options {
    bool isHelpRequested = false;
    bool isFiscal = false;
    bool isShown = false;
    std::vector<std::string> words;  // what is left: the arguments of tavo
};

Options ParseOptions(int argc, char* argv[]) {
    Options options;
    options.isHelpRequested = IsUsageRequested(argc, argv);
    for (int i = 1; i < argc; i++) {
        const std::string word = argv[i];
        if (word == "--help")
            options.isHelpRequested = true;
        else if (word == "--fiscal")
            options.isFiscal = true;
        else if (word == "--show")
            options.isShown = true;
        else
            options.words.push_back(word);
    }
    return options;
}

/** The command line of tavo that would send the file. */
BaseCommandParameters CollectTavoParameters(const Options& options) {
    std::vector<std::string> words = options.words;
    words.insert(words.begin(), {"tavo", options.isFiscal ? "ExecuteFiscal" : "Send"});
    std::vector<char*> argv;
    argv.reserve(words.size());
    for (std::string& word : words) argv.push_back(word.data());
    return CollectParameters(static_cast<int>(argv.size()), argv.data());
}

/** Of waiting times that the port counts in a byte of tenths of a second. */
void WarnOfLongTimes() {
    constexpr long long end = 25600;  // ms
    const auto warn = [](const char* names, long long time) {
        if (time >= end)
            Print(
                Format("warning: %s: of %lld ms only %lld are waited, as the port counts up to 25.5 s and "
                       "begins again at 0\n",
                       names, time, time % end / 100 * 100));
    };
    const long long operationTime =
        AppConfig::GetParameter("EcrOperationMaxTime", defaultEcrOperationMaxTime);
    warn("EcrOperationMaxTime and EcrCommMaxTime together",
         operationTime + AppConfig::GetParameter("EcrCommMaxTime", defaultLocalEcrCommMaxTime));
    warn("SerialProtocolResponseMaxTime",
         AppConfig::GetParameter("SerialProtocolResponseMaxTime", defaultResponseTimeoutMs));
}

void WarnOfUnknownSettings(const Options& options) {
    for (size_t i = options.isFiscal ? 1 : 2; i < options.words.size(); i++) {
        std::string name;
        std::string value;
        ParseConfigParam(options.words[i], name, value);
        bool isKnown = false;
        for (const Setting& setting : settings) isKnown = isKnown || name == setting.name;
        if (!isKnown) Print("warning: there is no setting " + Printable(name) + "\n");
    }
}

/** Converts every record as a Send does, and shows it if asked to; returns the rows of a bitmap. */
std::vector<Record> CheckRecords(InputFile& input, const Options& options, int& count) {
    std::vector<Record> records;
    for (int i = 0; input.Read(i); i++) {
        byte data[commIoBufferSize];
        const uint16_t length = input.Convert(data);
        if (length == 0) continue;
        count++;
        const Record record(data, data + length);
        if (input.GetKind().isPicture) records.push_back(record);
        if (!options.isShown || input.GetKind().isPicture) continue;
        const int line = input.GetLineNumber(i);
        Print((line > 0 ? Format("line %d: ", line) : Format("record %d: ", i + 1)) + DescribeKinds(record) +
              "\n");
    }
    return records;
}

void ShowCommands(const std::vector<FiscalCommand>& commands) {
    for (const FiscalCommand& command : commands)
        Print(Format("line %d: command %d%s", command.lineNumber, command.code,
                     command.data.empty() ? "" : ", ") +
              DescribeKinds(command.data) + "\n");
}

void ShowPicture(const std::vector<Record>& rows) {
    const std::optional<std::string> picture = DrawPicture(rows);
    if (!picture) return;
    constexpr size_t fieldHeaderSize = 2;
    Print(Format("%zu x %zu pixels, black ones as blocks:\n", (rows[0].size() - fieldHeaderSize) * 8,
                 rows.size()) +
          *picture);
}

/** Says what is wrong with each line, which the messages of tavo do not. */
void Explain(const std::string& filename, const Options& options) {
    const std::vector<std::string> lines = ReadLines(filename);
    for (size_t i = 0; i < lines.size(); i++) {
        if (lines[i].empty()) continue;
        for (const Finding& finding : DiagnoseLine(lines[i], options.isFiscal)) {
            const std::string field = finding.field > 0 ? Format("field %d, ", finding.field) : "";
            Print(Format("%sline %zu, %scolumn %d: ", finding.isBad ? "" : "warning: ", i + 1, field.c_str(),
                         finding.column) +
                  finding.cause + "\n");
        }
    }
    for (const std::string& warning : DiagnoseFile(lines, options.isFiscal))
        Print("warning: " + warning + "\n");
}

ReturnCode Check(const Options& options) {
    const BaseCommandParameters params = CollectTavoParameters(options);
    WarnOfUnknownSettings(options);
    WarnOfLongTimes();
    InputFile input;
    int count = 0;
    ReturnCode status = ReturnCode_OK;
    bool hasLines = true;
    try {
        if (options.isFiscal) {
            input.OpenCommands(params.filePath);
            count = static_cast<int>(input.GetCommands().size());
            if (options.isShown) ShowCommands(input.GetCommands());
        } else {
            input.OpenRecords(params.data, params.filePath);
            hasLines = input.GetKind().hasLines;
            const std::vector<Record> rows = CheckRecords(input, options, count);
            if (options.isShown) ShowPicture(rows);
            status = StatusOfFileErrors();
        }
    } catch (ApplicationException* e) {
        status = HandleException(e);  // bad commands, which are explained below
    }
    if (hasLines) Explain(params.filePath, options);
    Print(Format(options.isFiscal ? "Commands to execute: %d\n" : "Records to send: %d\n", count));
    return status;
}

ReturnCode Run(const Options& options) {
    try {
        return Check(options);
    } catch (Exception* e) {
        return HandleException(e);
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    try {
        const Options options = ParseOptions(argc, argv);
        if (options.isHelpRequested) {
            Print(usage);
            return ReturnCode_OK;
        }
        const ReturnCode status = Run(options);
        Print(Format("Completed %s\nReturn value %i\n", status == ReturnCode_OK ? "OK" : "with errors",
                     status));
        return status;
    } catch (const std::bad_alloc&) {
        Print("System error: Not enough memory\nCompleted with errors\nReturn value 50\n");
        return ReturnCode_SystemError;
    }
}
