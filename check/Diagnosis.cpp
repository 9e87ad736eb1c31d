#include "Diagnosis.h"

#include <algorithm>
#include <cctype>

#include "AppConfig.h"
#include "DataConverter.h"
#include "Defaults.h"
#include "EcrComm/CommBase.h"
#include "EcrComm/Protocols.h"
#include "Format.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Formatting/TextDataParser.h"
#include "OLVE_Compatibility.h"
#include "Record.h"
#include "SourceFile.h"
#include "Tools.h"

namespace {

constexpr size_t maxLineLength = 1023;
constexpr size_t maxFieldLength = 128;
constexpr const char* blanks = " \t";
constexpr const char* byteOrderMark = "\xEF\xBB\xBF";

char TheDelimiter() { return AppConfig::GetParameter("Delimiter", defaultCsvDelimiter)[0]; }

const byte* BytesOf(const std::string& text) { return reinterpret_cast<const byte*>(text.data()); }

/** A line's fields one after another, with the place of each. */
class FieldScanner : public TextDataParser {
public:
    explicit FieldScanner(const std::string& line)
        : TextDataParser(BytesOf(line), static_cast<uint16_t>(line.size())), m_line(line) {}

    size_t GetPosition() const { return m_position; }
    bool IsTooLongOrHasNul() {
        char field[maxFieldLength + 1];
        return GetField(field, sizeof field, true) == GetFieldResult_Error;
    }

    /** The next field as it stands between the delimiters, without blanks around it. */
    std::string PeekRaw() const {
        const char delimiter = TheDelimiter();
        bool inQuotes = false;
        size_t end = m_position;
        for (; end < m_line.size() && (inQuotes || m_line[end] != delimiter); end++)
            if (m_line[end] == '"') inQuotes = !inQuotes;
        return Trim(m_line.substr(m_position, end - m_position), blanks);
    }

private:
    const std::string& m_line;
};

/** What is wrong with a text field; it is taken all the same where its first character is a quote. */
std::string DiagnoseText(const std::string& raw) {
    bool inQuotes = false;
    size_t closed = 0;
    for (size_t i = 0; i < raw.size(); i++) {
        if (raw[i] != '"') continue;
        if (inQuotes && i + 1 < raw.size() && raw[i + 1] == '"') {
            i++;
            continue;
        }
        inQuotes = !inQuotes;
        closed = i;
    }
    if (inQuotes) return "text field is not closed";
    return closed + 1 == raw.size() ? "" : "text goes on behind its closing quote";
}

std::string DiagnoseNumber(const std::string& raw) {
    Decimal number;
    char readBack[32];
    if (!number.FromString(raw))
        return "number has other characters than digits, a '-' before them and one point";
    const std::string value = number.ToString();
    const std::string digits = TrimLeft(value, "-0.");
    const std::string written = TrimLeft(raw, "-0.");
    const bool isSame = written.compare(0, digits.size(), digits) == 0 &&
                        written.find_first_not_of("0.", digits.size()) == std::string::npos;
    if (!isSame) return "number has too many digits: it arrives as " + value;
    return DecimalToString(readBack, sizeof readBack, number) ? "" : "number is too long to be read back";
}

std::string DiagnoseBinary(const std::string& raw) {
    if (raw.size() % 2 != 0) return "binary field has an odd number of digits";
    const bool isHex =
        std::all_of(raw.begin() + 2, raw.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    return isHex ? "" : "binary field has other characters than hexadecimal digits: they arrive as 00";
}

std::string DiagnoseUnknown(const std::string& raw) {
    if (raw.empty()) return "field is empty";
    return Format("field begins with %s: it is no text in quotes, no number and no binary data (0x)",
                  std::isprint(static_cast<unsigned char>(raw[0])) != 0
                      ? ("'" + raw.substr(0, 1) + "'").c_str()
                      : Format("byte %02x", static_cast<unsigned char>(raw[0])).c_str());
}

std::string DiagnoseControl(const std::string& raw) {
    const auto control = std::find_if(raw.begin(), raw.end(), [](unsigned char c) { return c < 31; });
    return control == raw.end() ? "" : Format("text has a control character (%02x)", *control);
}

/** Why a field cannot be taken, or what is odd about it. */
std::string DiagnoseField(FieldType type, const std::string& raw, bool isBad) {
    std::string control = isBad && type == FieldType_String ? DiagnoseControl(raw) : "";
    if (!control.empty()) return control;
    switch (type) {
        case FieldType_String: return DiagnoseText(raw);
        case FieldType_Number: return DiagnoseNumber(raw);
        case FieldType_Binary: return DiagnoseBinary(raw);
        default: return DiagnoseUnknown(raw);
    }
}

/** Whether the line has a place in the index, though a later field may be bad. */
bool IsIndexed(const std::string& line) {
    FieldScanner fields(line);
    Decimal number;
    const FieldType type = fields.GetFieldType();
    if (type != FieldType_Number) return type != FieldType_Unknown;
    return fields.GetNumber(number) && (number.ToInt64() != -1 || fields.GetFieldType() == FieldType_None);
}

/** Number of a record, 0 where the line has none or nothing behind it. */
int64_t NumberOf(const std::string& line) {
    FieldScanner fields(line);
    Decimal number;
    const bool isNumber = fields.GetFieldType() == FieldType_Number && fields.GetNumber(number);
    return isNumber && fields.GetFieldType() != FieldType_None ? number.ToInt64() : 0;
}

/** The data of the application frame that the line makes; empty for one that does not fit a record. */
Record DataOf(const std::string& line, bool isCommand) {
    byte data[commIoBufferSize];
    FieldScanner fields(line);
    Decimal code;
    const bool hasCode = isCommand && fields.GetNumber(code);
    const uint16_t length = DataConverter::PcToEcr(fields, data, sizeof data);
    Record record(data, data + length);
    if (hasCode) record.insert(record.begin(), static_cast<byte>(code.ToInt64()));
    return record;
}

/** What the record as a whole is too long for. */
void DiagnoseLength(const std::string& line, bool isCommand, std::vector<Finding>& findings) {
    const Record data = DataOf(line, isCommand);
    if (data.empty()) {
        findings.push_back({true, 0, 1, "record is longer than the register takes"});
        return;
    }
    SetProtocol(GetProtocolIDBySet(isCommand ? Protocol_Fiscal : Protocol_Standard));
    if (!FitsFrame(data.data(), static_cast<uint16_t>(data.size())))
        findings.push_back(
            {false, 0, 1, "record is too long for a frame: the transfer ends here with status 99"});
}

/** What is odd about a number that is to be a record's or a command's. */
void DiagnoseKey(const std::string& line, bool isCommand, std::vector<Finding>& findings) {
    FieldScanner fields(line);
    Decimal number;
    if (fields.GetFieldType() != FieldType_Number || !fields.GetNumber(number)) return;
    if (isCommand && (number.GetDecimalCount() > 0 || number.ToInt64() < 0 || number.ToInt64() > 255))
        findings.push_back({false, 1, 1,
                            Format("code is no whole number from 0 to 255: it arrives as %d",
                                   static_cast<byte>(number.ToInt64()))});
    else if (!isCommand && number.GetDecimalCount() > 0)
        findings.push_back(
            {false, 1, 1, "record number has decimals: the point is left out when numbers are compared"});
}

/** Bytes of a UTF-8 sequence that begins here, 0 when none does. */
size_t Utf8Length(const std::string& text, size_t position) {
    const auto first = static_cast<unsigned char>(text[position]);
    const size_t length = first < 0x80                    ? 1
                          : first >= 0xC2 && first < 0xE0 ? 2
                          : first >= 0xE0 && first < 0xF0 ? 3
                          : first >= 0xF0 && first < 0xF5 ? 4
                                                          : 0;
    for (size_t i = 1; i < length; i++)
        if (position + i >= text.size() || (static_cast<unsigned char>(text[position + i]) & 0xC0) != 0x80)
            return 0;
    return length;
}

/** Column of the first letter of several bytes when the line is UTF-8; 0 when it is plain ASCII, -1 when it
 * is not UTF-8. */
int Utf8Column(const std::string& line, size_t start) {
    int column = 0;
    for (size_t i = start, length; i < line.size(); i += length) {
        length = Utf8Length(line, i);
        if (length == 0) return -1;
        if (length > 1 && column == 0) column = static_cast<int>(i) + 1;
    }
    return column;
}

std::string DiagnoseCoding(const std::vector<std::string>& lines, size_t markLength) {
    std::string warning;
    for (size_t i = 0; i < lines.size(); i++) {
        const int column = Utf8Column(lines[i], i == 0 ? markLength : 0);
        if (column < 0) return "";
        if (column > 0 && warning.empty())
            warning = Format(
                "line %zu, column %d: letters look like UTF-8, of several bytes each; the register takes one "
                "byte a letter: save the file in the register's code page",
                i + 1, column);
    }
    return warning;
}

/** Whether every line that is not empty has the character outside of quotes. */
bool SeparatesAll(const std::vector<std::string>& lines, char delimiter) {
    bool hasLine = false;
    for (const std::string& line : lines) {
        bool inQuotes = false;
        const bool isFound = std::any_of(line.begin(), line.end(), [&](char c) {
            if (c == '"') inQuotes = !inQuotes;
            return c == delimiter && !inQuotes;
        });
        if (!isFound && !line.empty()) return false;
        hasLine = hasLine || isFound;
    }
    return hasLine;
}

std::string NameOf(char delimiter) { return delimiter == '\t' ? "tab" : "'" + Printable({delimiter}) + "'"; }

std::string DiagnoseDelimiter(const std::vector<std::string>& lines) {
    const char delimiter = TheDelimiter();
    // with a decimal comma every line may have both
    const bool isAnyGood = std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
        return !line.empty() && !DataOf(line, false).empty();
    });
    if (isAnyGood && SeparatesAll(lines, delimiter)) return "";
    for (const char other : {',', ';', '\t', '|'})
        if (other != delimiter && SeparatesAll(lines, other))
            return "every line has a " + NameOf(other) + ", but the delimiter is " + NameOf(delimiter) +
                   ": set Delimiter";
    return "";
}

std::string DiagnoseLineEnds(const std::vector<std::string>& lines) {
    const std::string start = lines.empty() ? "" : lines[0].substr(0, 2);
    if (start == "\xFF\xFE" || start == "\xFE\xFF")
        return "line 1, column 1: the file is UTF-16: save it in the register's code page";
    const bool hasBareReturn = std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find('\r') != std::string::npos;
    });
    return hasBareReturn ? "carriage returns stand inside of lines: a line ends with a line feed" : "";
}

/** The first record, behind a heading that may be there, on account of which nothing is sorted. */
std::string DiagnoseOrder(const std::vector<std::string>& lines) {
    bool isFirst = true;
    for (size_t i = 0; i < lines.size(); i++) {
        if (lines[i].empty() || !IsIndexed(lines[i])) continue;
        if (!isFirst && NumberOf(lines[i]) == 0)
            return Format("line %zu: no record number but 0 with fields behind it: ", i + 1) +
                   "nothing is sorted, and duplicates are not looked for";
        isFirst = false;
    }
    return "";
}

}  // namespace

std::vector<Finding> DiagnoseLine(const std::string& line, bool isCommand) {
    std::vector<Finding> findings;
    if (line.size() == maxLineLength)
        findings.push_back(
            {false, 0, 1, "line has 1023 characters: what may follow in it counts as the next line"});
    FieldScanner fields(line);
    for (int field = 1;; field++) {
        const std::string raw = fields.PeekRaw();
        const auto column = static_cast<int>(
            line.find_first_not_of(TheDelimiter() == '\t' ? " " : blanks, fields.GetPosition()) + 1);
        const FieldType type = fields.GetFieldType();
        if (type == FieldType_None) break;
        if (fields.IsTooLongOrHasNul()) {
            const bool hasNul = raw.find('\0') != std::string::npos;
            findings.push_back({true, field, column,
                                hasNul ? "field has a NUL byte"
                                       : Format("field is longer than %zu characters", maxFieldLength)});
            return findings;
        }
        byte converted[fileIoBufferSize];
        BinaryDataFormatter formatter(converted, sizeof converted);
        const bool isBad = !DataConverter::ConvertField(type, fields, formatter);
        const std::string cause = DiagnoseField(type, raw, isBad);
        if (isBad || !cause.empty()) findings.push_back({isBad, field, column, cause});
        if (isBad) return findings;
    }
    if (NumberOf(line) == -1)
        findings.push_back(
            {true, 1, 1, "-1, also with a point in it, is not taken as the first of several fields"});
    else if (isCommand && FieldScanner(line).GetFieldType() != FieldType_Number)
        findings.push_back({true, 1, 1, "a command begins with its code, a number"});
    else
        DiagnoseLength(line, isCommand, findings);
    if (findings.empty() || !findings.back().isBad) DiagnoseKey(line, isCommand, findings);
    return findings;
}

std::vector<std::string> DiagnoseFile(const std::vector<std::string>& lines, bool hasCommands) {
    std::vector<std::string> warnings;
    const bool hasMark = !lines.empty() && lines[0].compare(0, 3, byteOrderMark) == 0;
    if (hasMark)
        warnings.emplace_back(
            "line 1, column 1: the file begins with a UTF-8 byte-order mark, which belongs to the first "
            "field: save it without one");
    const bool isSorted =
        !hasCommands && AppConfig::GetParameter("SortInputFileLines", defaultSortInputFileLines) != 0;
    for (const std::string& warning : {DiagnoseCoding(lines, hasMark ? 3 : 0), DiagnoseLineEnds(lines),
                                       DiagnoseDelimiter(lines), isSorted ? DiagnoseOrder(lines) : ""})
        if (!warning.empty()) warnings.push_back(warning);
    return warnings;
}

std::vector<std::string> ReadLines(const std::string& filename) {
    SourceFile file;
    file.Open(filename);
    std::string text(static_cast<size_t>(file.GetSize()), '\0');
    text.resize(file.Read(0, text.data(), text.size()));
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        const size_t length = std::min(end - start, maxLineLength);
        const bool isCut =
            length == maxLineLength;  // its newline, if it is the next character, is a line of its own
        const std::string line = text.substr(start, length);
        lines.push_back(isCut ? line : TrimRight(line, " \t\r\n"));
        start += length + (isCut ? 0 : 1);
    }
    return lines;
}
