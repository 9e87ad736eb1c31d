#include "Diagnosis.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "AppConfig.h"
#include "DataConverter.h"
#include "Defaults.h"
#include "Delimiter.h"
#include "EcrComm/CommBase.h"
#include "Format.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Formatting/TextDataParser.h"
#include "OLVE_Compatibility.h"
#include "Pattern.h"
#include "Records/Record.h"
#include "SpreadsheetForm.h"
#include "TextFile.h"
#include "Tools.h"

namespace {

constexpr const char* blanks = " \t";
constexpr const char* notClosed = "text field is not closed: is there a line break in it?";

/** A line's fields. */
TextDataParser Fields(const std::string& line, char delimiter) {
    return {reinterpret_cast<const byte*>(line.data()), static_cast<uint16_t>(line.size()), delimiter};
}

std::optional<int64_t> KeyOf(const std::string& line, char delimiter) {
    return KeyOfLine(line.data(), line.size(), delimiter);
}

/** What is odd about a number that is taken. */
std::string DiagnoseNumber(const std::string& raw) {
    static const Pattern cut(R"(0\d{1,2})");
    if (cut.Matches(raw)) return "number begins with 0: is the comma before it a decimal comma?";
    Decimal number;
    char readBack[32];
    number.FromString(raw);
    const std::string value = number.ToString();
    const std::string digits = TrimLeft(value, "-0.");
    const std::string written = TrimLeft(raw, "-0.");
    const bool isSame = written.compare(0, digits.size(), digits) == 0 &&
                        written.find_first_not_of("0.", digits.size()) == std::string::npos;
    if (!isSame) return "number has too many digits: it arrives as " + value;
    return DecimalToString(readBack, sizeof readBack, number) ? "" : "number is too long to be read back";
}

std::string DiagnoseBinary(const std::string& raw) {
    const bool isHex =
        std::all_of(raw.begin() + 2, raw.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    return isHex ? "" : "binary field has other characters than hexadecimal digits: they arrive as 00";
}

std::string DiagnoseText(const std::string& raw, bool isQuoteOpen) {
    if (isQuoteOpen) return notClosed;
    return raw.back() == '"' ? "" : "text goes on behind its closing quote";
}

/** What is odd about a field that is taken. */
std::string DiagnoseTaken(FieldType type, const std::string& raw, bool isQuoteOpen) {
    switch (type) {
        case FieldType_String: return DiagnoseText(raw, isQuoteOpen);
        case FieldType_Number: return DiagnoseNumber(raw);
        default: return DiagnoseBinary(raw);
    }
}

/** The text's first character, which may have several bytes. */
std::string NameCharacter(const std::string& text) {
    const size_t length = Utf8Length(text, 0);
    return length > 1 || std::isprint(static_cast<unsigned char>(text[0])) != 0
               ? "'" + text.substr(0, length) + "'"
               : Format("byte %02x", static_cast<unsigned char>(text[0]));
}

std::string BehindColon(const std::string& text) { return text.empty() ? "" : ": " + text; }

/** Why a field is not taken, in words. */
std::string DiagnoseRefused(FieldRefusal refusal, const std::string& raw, bool mayBeFixed) {
    switch (refusal) {
        case FieldRefusal::None: return "";
        case FieldRefusal::TooLong:
            return Format("field is longer than %d characters", TextDataParser::maxFieldLength);
        case FieldRefusal::HasNul: return "field has a NUL byte";
        case FieldRefusal::Empty: return "field is empty";
        case FieldRefusal::UnknownKind:
            return "field begins with " + NameCharacter(raw) +
                   ": it is no text in quotes, no number and no binary data (0x)" +
                   BehindColon(mayBeFixed && IsBareText(raw)
                                   ? "write quotes around it, or let tavo-check --fix do that"
                                   : AdviseOnSpreadsheetForm(raw));
        case FieldRefusal::NotClosed: return notClosed;
        case FieldRefusal::Control: {
            const auto control = std::find_if(raw.begin(), raw.end(), [](unsigned char c) { return c < 31; });
            return Format("text has a control character (%02x)", *control);
        }
        case FieldRefusal::NoNumber:
            return "number has other characters than digits, a '-' before them and one point" +
                   BehindColon(AdviseOnSpreadsheetForm(raw));
        case FieldRefusal::OddDigits: return "binary field has an odd number of digits";
    }
    return "";
}

/** The data of the application frame that the line makes; empty for one that does not fit a record. */
Record DataOf(const std::string& line, const LineRules& rules) {
    byte data[commIoBufferSize];
    TextDataParser fields = Fields(line, rules.delimiter);
    Decimal code;
    const bool hasCode = rules.isCommand && fields.GetNumber(code);
    const uint16_t length = DataConverter::PcToEcr(fields, data, sizeof data);
    Record record(data, data + length);
    if (hasCode) record.insert(record.begin(), static_cast<byte>(code.ToInt64()));
    return record;
}

/** What the record as a whole is too long for. */
void DiagnoseLength(const std::string& line, const LineRules& rules, std::vector<Finding>& findings) {
    const Record data = DataOf(line, rules);
    if (data.empty()) {
        findings.push_back({true, 0, 0, 1, "record is longer than the register takes"});
        return;
    }
    if (!FitsFrame(data.data(), static_cast<uint16_t>(data.size()), rules.frameVersion))
        findings.push_back(
            {false, 0, 0, 1, "record is too long for a frame: the transfer ends here with status 99"});
}

/** What is odd about a number that is to be a record's or a command's. */
void DiagnoseKey(const std::string& line, const LineRules& rules, std::vector<Finding>& findings) {
    TextDataParser fields = Fields(line, rules.delimiter);
    Decimal number;
    if (!fields.GetNumber(number)) return;
    if (rules.isCommand && (number.GetDecimalCount() > 0 || number.ToInt64() < 0 || number.ToInt64() > 255))
        findings.push_back({false, 0, 1, 1,
                            Format("code is no whole number from 0 to 255: it arrives as %d",
                                   static_cast<byte>(number.ToInt64()))});
    else if (!rules.isCommand && number.GetDecimalCount() > 0)
        findings.push_back(
            {false, 0, 1, 1, "record number has decimals: the point is left out when numbers are compared"});
}

/** Of the whole file; without a cause for none. */
Finding DiagnoseCoding(const std::vector<std::string>& lines, bool isFixed) {
    const Coding coding = FindCoding(lines);
    // in a copy a line is left whose letters the code page does not have
    if (coding.utf8Line == 0 || (isFixed && coding.otherLine > 0)) return {};
    if (coding.otherLine > 0)
        return {false, coding.otherLine, 0, 0,
                Format("letters that are no UTF-8, while those of line %d look like it: save the file in one "
                       "code page, the register's",
                       coding.utf8Line)};
    return {false, coding.utf8Line, 0, coding.utf8Column,
            "letters look like UTF-8, of several bytes each; the register takes one byte a letter: save the "
            "file in the register's code page, or let tavo-check --fix --codepage do that"};
}

Finding DiagnoseDelimiter(const std::vector<std::string>& lines, char delimiter) {
    const std::optional<char> other = FindOtherDelimiter(lines, delimiter);
    if (!other) return {};
    return {false, 0, 0, 0,
            "the fields have a " + NameOfDelimiter(*other) + " between them, but the delimiter is " +
                NameOfDelimiter(delimiter) + ": set Delimiter, or let tavo-check --fix write that one"};
}

Finding DiagnoseLineEnds(const std::vector<std::string>& lines) {
    const bool hasBareReturn = std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find('\r') != std::string::npos;
    });
    if (!hasBareReturn) return {};
    return {false, 0, 0, 0, "carriage returns stand inside of lines: a line ends with a line feed"};
}

bool HasFurtherFields(const std::string& line, char delimiter) {
    char field[maxLineLength + 1];
    TextDataParser fields = Fields(line, delimiter);
    return fields.GetField(field, sizeof field, false) == GetFieldResult_OK &&
           fields.GetFieldType() != FieldType_None;
}

/** The first record, behind a heading that may be there, on account of which nothing is sorted. */
Finding DiagnoseOrder(const std::vector<std::string>& lines, char delimiter) {
    // records of one field have no number to sort by
    const auto hasFurtherFields = [&](const std::string& line) { return HasFurtherFields(line, delimiter); };
    if (std::none_of(lines.begin(), lines.end(), hasFurtherFields)) return {};
    bool isFirst = true;
    for (size_t i = 0; i < lines.size(); i++) {
        const std::optional<int64_t> key = lines[i].empty() ? std::nullopt : KeyOf(lines[i], delimiter);
        if (!key) continue;
        if (!isFirst && *key == 0)
            return {false, static_cast<int>(i) + 1, 0, 0,
                    "no record number but 0 with fields behind it: nothing is sorted, and duplicates are not "
                    "looked "
                    "for"};
        isFirst = false;
    }
    return {};
}

}  // namespace

std::vector<Finding> DiagnoseLine(const std::string& line, const LineRules& rules) {
    std::vector<Finding> findings;
    if (line.size() == maxLineLength)
        findings.push_back(
            {false, 0, 0, 1, "line has 1023 characters: what may follow in it counts as the next line"});
    TextDataParser fields = Fields(line, rules.delimiter);
    const char* skipped = rules.delimiter == '\t' ? " " : blanks;
    FieldType type;
    for (int field = 1; (type = fields.GetFieldType()) != FieldType_None; field++) {
        byte converted[fileIoBufferSize];
        BinaryDataFormatter formatter(converted, sizeof converted);
        const bool isBad = !DataConverter::ConvertField(type, fields, formatter);
        const std::string raw = Trim(fields.GetFieldText(), blanks);
        const auto column = static_cast<int>(line.find_first_not_of(skipped, fields.GetFieldStart()) + 1);
        const std::string cause =
            isBad ? DiagnoseRefused(fields.GetRefusal(), raw, field > 1 && !rules.isFixed && !rules.isCommand)
                  : DiagnoseTaken(type, raw, fields.IsQuoteOpen());
        if (isBad || !cause.empty()) findings.push_back({isBad, 0, field, column, cause});
        if (isBad) return findings;
    }
    const std::optional<int64_t> key = KeyOf(line, rules.delimiter);
    if (!key)
        findings.push_back(
            {true, 0, 1, 1, "-1, also with a point in it, is not taken as the first of several fields"});
    else if (rules.isCommand && Fields(line, rules.delimiter).GetFieldType() != FieldType_Number)
        findings.push_back({true, 0, 1, 1, "a command begins with its code, a number"});
    else
        DiagnoseLength(line, rules, findings);
    if (findings.empty() || !findings.back().isBad) DiagnoseKey(line, rules, findings);
    return findings;
}

std::vector<Finding> DiagnoseFile(const std::vector<std::string>& lines, const LineRules& rules) {
    std::vector<Finding> warnings;
    const bool hasMark = !lines.empty() && lines[0].compare(0, 3, byteOrderMark) == 0;
    if (hasMark)
        warnings.push_back(
            {false, 1, 0, 1,
             "the file begins with a UTF-8 byte-order mark, which belongs to the first field: save it "
             "without one"});
    const bool isSorted = !rules.isCommand && AppConfig::Get(settings::sortInputFileLines) != 0;
    for (const Finding& warning : {DiagnoseCoding(lines, rules.isFixed), DiagnoseLineEnds(lines),
                                   rules.isFixed ? Finding() : DiagnoseDelimiter(lines, rules.delimiter),
                                   isSorted ? DiagnoseOrder(lines, rules.delimiter) : Finding()})
        if (!warning.cause.empty()) warnings.push_back(warning);
    return warnings;
}
