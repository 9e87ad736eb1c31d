#include "FileCheck.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "AppConfig.h"
#include "ContentDiagnosis.h"
#include "Defaults.h"
#include "Diagnosis.h"
#include "EcrComm/CommBase.h"
#include "FileErrors.h"
#include "Fix.h"
#include "Format.h"
#include "Formatting/TextDataParser.h"
#include "Options/CommandLine.h"
#include "Outcome/Failure.h"
#include "Records/InputFile.h"
#include "SettingDiagnosis.h"
#include "System/AtomicFile.h"
#include "System/Output.h"
#include "TableDiagnosis.h"
#include "Text/Json.h"
#include "Text/RecordText.h"
#include "TextFile.h"
#include "Tools.h"

namespace {

/** The command line of tavo that would send the file. */
BaseCommandParameters CollectTavoParameters(const CheckOptions& options) {
    std::vector<std::string> words = options.words;
    words.insert(words.begin(), {"tavo", options.isFiscal ? "ExecuteFiscal" : "Send"});
    std::vector<char*> argv;
    argv.reserve(words.size());
    for (std::string& word : words) argv.push_back(word.data());
    return CollectParameters(static_cast<int>(argv.size()), argv.data());
}

/** Converts every record as a Send does, and shows it if asked to; returns the rows of a bitmap. */
std::vector<Record> CheckRecords(InputFile& input, const CheckOptions& options, int& count) {
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

/** What is wrong with each line, which the messages of tavo do not say. */
struct Explanation {
    std::vector<Finding> findings;
    std::string note;  // on what could not be found out; empty for none
};

Explanation Explain(const std::string& filename, const LineRules& rules) {
    Explanation explanation;
    std::vector<Finding>& findings = explanation.findings;
    const std::vector<std::string> lines = ReadLines(filename);
    for (size_t i = 0; i < lines.size(); i++) {
        if (lines[i].empty()) continue;
        for (Finding finding : DiagnoseLine(lines[i], rules)) {
            finding.line = static_cast<int>(i) + 1;
            findings.push_back(finding);
        }
    }
    const TableDiagnosis table = rules.isCommand ? TableDiagnosis() : DiagnoseTable(lines, rules.delimiter);
    explanation.note = table.note;
    for (const std::vector<Finding>& warnings : {table.warnings, DiagnoseFile(lines, rules)})
        findings.insert(findings.end(), warnings.begin(), warnings.end());
    return explanation;
}

void Tell(const std::vector<Finding>& findings, bool isJson) {
    for (const Finding& finding : findings) Print((isJson ? ToJson(finding) : ToText(finding)) + "\n");
}

/** Writes the corrected copy, and says what has changed; returns its path. */
std::string Fix(const std::string& filename, const LineRules& rules, const CheckOptions& options) {
    const FixedText fixed = FixText(ReadAll(filename), rules.delimiter, options.codePage);
    if (File::IsSame(filename, options.fixedPath))
        throw new CommandLineException("--fix: the copy would be the file itself");
    ReplaceFile(options.fixedPath, fixed.text);
    for (const Finding& change : fixed.changes)
        Print((options.isJson ? ToJson(change, "fixed")
                              : Format("fixed: line %d: ", change.line) + change.cause) +
              "\n");
    Tell(fixed.left, options.isJson);
    return options.fixedPath;
}

/** What tavo says of the file's lines. */
std::vector<Finding> GetVerdicts() {
    std::vector<Finding> verdicts;
    for (const LineError& error : FileErrors::GetLines())
        verdicts.push_back({true, error.line, error.field, 0, error.cause});
    return verdicts;
}

struct Verdict {
    ReturnCode status = ReturnCode_OK;
    int count = 0;  // of what is sent
    bool hasLines = true;
};

/** Goes through the file as tavo does. */
Verdict Judge(const BaseCommandParameters& params, const CheckOptions& options) {
    Verdict verdict;
    InputFile input;
    try {
        if (options.isFiscal) {
            input.OpenCommands(params.filePath);
            verdict.count = static_cast<int>(input.GetCommands().size());
            if (options.isShown) ShowCommands(input.GetCommands());
        } else {
            input.OpenRecords(params.data, params.filePath);
            verdict.hasLines = input.GetKind().hasLines;
            const std::vector<Record> rows = CheckRecords(input, options, verdict.count);
            if (options.isShown) ShowPicture(rows);
            verdict.status = StatusOfFileErrors();
        }
    } catch (ApplicationException* e) {
        verdict.status = HandleException(e);  // bad commands, which are explained behind
    }
    return verdict;
}

LineRules GetLineRules(const CheckOptions& options) {
    return {options.isFiscal, ConfiguredDelimiter(), AppConfig::Get(settings::serialProtocolVersion),
            !options.fixedPath.empty()};
}

}  // namespace

ReturnCode CheckFile(const CheckOptions& options) {
    BaseCommandParameters params = CollectTavoParameters(options);
    FileErrors::KeepLines();
    std::vector<Finding> settingWarnings;
    for (const std::string& warning : DiagnoseSettings())
        settingWarnings.push_back({false, 0, 0, 0, warning});
    Tell(settingWarnings, options.isJson);
    const LineRules rules = GetLineRules(options);
    SetProtocol(GetProtocolIDBySet(options.isFiscal ? Protocol_Fiscal : Protocol_Standard));
    const FileKind& kind =
        KindOf(options.isFiscal ? FileType_CSV : DetectFileType(params.filePath, params.data));
    const std::vector<Finding> contents = DiagnoseContent(params.filePath, kind);
    Tell(contents, options.isJson);
    if (!options.fixedPath.empty()) {
        if (!kind.hasLines || !contents.empty())
            throw new FileIoException("Nothing to correct, no copy is written");
        params.filePath = Fix(params.filePath, rules, options);
    }
    HeldOutput messages;
    Verdict verdict = Judge(params, options);
    const std::string told = messages.Take();
    if (options.isJson)
        Tell(GetVerdicts(), true);
    else
        Print(told);
    const Explanation explanation =
        verdict.hasLines && contents.empty() ? Explain(params.filePath, rules) : Explanation();
    Tell(explanation.findings, options.isJson);
    const bool hasBadLine = std::any_of(explanation.findings.begin(), explanation.findings.end(),
                                        [](const Finding& finding) { return finding.isBad; });
    if (options.isFiscal && verdict.status == ReturnCode_OK && hasBadLine)
        Tell({{false, 0, 0, 0,
               Format("the lines named are left out: the other %d commands would be executed",
                      verdict.count)}},
             options.isJson);
    if (!explanation.note.empty() && !options.isShown && verdict.status == ReturnCode_OK)
        Print((options.isJson ? ToJson({false, 0, 0, 0, explanation.note}, "note")
                              : "note: " + explanation.note) +
              "\n");
    if (options.isStrict && verdict.status == ReturnCode_OK &&
        !(contents.empty() && explanation.findings.empty()))
        verdict.status = ReturnCode_InputFileSyntaxError;
    if (options.isJson)
        Print(JsonObject()
                  .Add(options.isFiscal ? "commands" : "records", verdict.count)
                  .Add("status", verdict.status)
                  .GetText() +
              "\n");
    else
        Print(
            Format(options.isFiscal ? "Commands to execute: %d\n" : "Records to send: %d\n", verdict.count));
    return verdict.status;
}
