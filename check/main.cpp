#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Diagnosis.h"
#include "Driver.h"
#include "Exceptions.h"
#include "Format.h"
#include "InputFile.h"
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

void WarnOfUnknownSettings(const Options& options) {
    for (size_t i = options.isFiscal ? 1 : 2; i < options.words.size(); i++) {
        std::string name;
        std::string value;
        ParseConfigParam(options.words[i], name, value);
        bool isKnown = false;
        for (const Setting& setting : settings) isKnown = isKnown || name == setting.name;
        if (!isKnown) Print("warning: there is no setting " + name + "\n");
    }
}

/** Converts every record as a Send does, and shows it if asked to; returns the rows of a bitmap. */
std::vector<Record> CheckRecords(InputFile& input, const Options& options, int& count) {
    std::vector<Record> records;
    for (int i = 0; input.Read(i); i++) {
        byte data[commIoBufferSize];
        byte code = 0;
        const uint16_t length = options.isFiscal ? input.ConvertCommand(code, data) : input.Convert(data);
        if (length == 0 && !options.isFiscal) continue;
        count++;
        const Record record(data, data + length);
        if (input.GetType() == FileType_BMP) records.push_back(record);
        if (!options.isShown || input.GetType() == FileType_BMP) continue;
        const int line = input.GetLineNumber(i);
        Print(line > 0 ? Format("line %d: ", line) : Format("record %d: ", i + 1));
        if (options.isFiscal) Print(Format(length > 0 ? "command %d, " : "command %d", code));
        Print(DescribeKinds(record) + "\n");
    }
    return records;
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
    InputFile input;
    int count = 0;
    ReturnCode status = ReturnCode_OK;
    FileType type = FileType_CSV;
    try {
        if (options.isFiscal)
            input.OpenCommands(params.filePath);
        else
            input.OpenRecords(params.data, params.filePath);
        type = input.GetType();
        const std::vector<Record> rows = CheckRecords(input, options, count);
        if (options.isShown) ShowPicture(rows);
        if (!options.isFiscal) status = StatusOfFileErrors();
    } catch (ApplicationException* e) {
        status = HandleException(e);  // bad commands, which are explained below
    }
    if (type == FileType_CSV) Explain(params.filePath, options);
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
        std::fputs("System error: Not enough memory\n", stdout);
        return ReturnCode_SystemError;
    }
}
