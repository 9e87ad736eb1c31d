#include "TableDiagnosis.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <set>

#include "Barcode.h"
#include "Format.h"
#include "Formatting/TextDataParser.h"
#include "Pattern.h"
#include "SpreadsheetForm.h"
#include "Tools.h"

namespace {

constexpr size_t fewRows = 4;           // in which one form may not be the usual one
constexpr size_t fewestOwnNumbers = 5;  // fewer of a length may be wrong barcodes

struct Cell {
    FieldType type;
    std::string text;  // as it stands, without the blanks around it
    int column;        // from 1
};

struct Row {
    int line;
    std::vector<Cell> cells;
};

const char* NameOf(FieldType type) {
    switch (type) {
        case FieldType_String: return "text";
        case FieldType_Number: return "number";
        case FieldType_Binary: return "binary field";
        default: return "field of no kind";
    }
}

std::string Unquoted(const std::string& text) {
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

Row ReadRow(const std::string& line, int number, char delimiter) {
    Row row{number, {}};
    TextDataParser fields(reinterpret_cast<const byte*>(line.data()), static_cast<uint16_t>(line.size()),
                          delimiter);
    for (FieldType type; (type = fields.GetFieldType()) != FieldType_None;) {
        const std::string text = fields.GetFieldText();
        const size_t blanks = text.size() - TrimLeft(text, " \t").size();
        row.cells.push_back({type, Trim(text, " \t"), static_cast<int>(fields.GetFieldStart() + blanks + 1)});
        char taken[TextDataParser::maxFieldLength + 1];
        if (fields.GetField(taken, sizeof taken, false) != GetFieldResult_OK) break;
    }
    return row;
}

/** The value that most have, if more than half do. */
template <class Value>
std::optional<Value> FindUsual(const std::map<Value, size_t>& counts) {
    size_t total = 0;
    for (const auto& entry : counts) total += entry.second;
    for (const auto& [value, count] : counts)
        if (2 * count > total) return value;
    return std::nullopt;
}

bool IsWhole(const std::string& text) {
    return !text.empty() && text.find_first_not_of("-0123456789") == std::string::npos;
}

bool IsWhole(const Cell& cell) { return cell.type == FieldType_Number && IsWhole(cell.text); }

/** What kind the cell has, or was meant to have. */
FieldType MeantType(const Cell& cell) {
    const SpreadsheetForm* form =
        cell.type == FieldType_String ? FindSpreadsheetForm(Unquoted(cell.text)) : nullptr;
    return form == nullptr || form->meant == FieldType_None ? cell.type : form->meant;
}

/** The field at which a number seems to be cut in two: in most rows it has decimals. */
std::optional<size_t> FindDecimalComma(const Row& row, const std::vector<bool>& hasDecimals) {
    for (size_t i = 0; i + 1 < row.cells.size() && i < hasDecimals.size(); i++)
        if (hasDecimals[i] && IsWhole(row.cells[i]) && IsWhole(row.cells[i + 1])) return i;
    return std::nullopt;
}

/** A table of rows that have, for the most part, the same form. */
class Table {
public:
    Table(const std::vector<std::string>& lines, char delimiter) {
        for (size_t i = 0; i < lines.size(); i++)
            if (!lines[i].empty()) m_rows.push_back(ReadRow(lines[i], static_cast<int>(i) + 1, delimiter));
        std::map<size_t, size_t> widths;
        for (const Row& row : m_rows) widths[row.cells.size()]++;
        const std::optional<size_t> usual = FindUsual(widths);
        // two lines of a few: a field too many may be half a number
        if (!usual && m_rows.size() <= fewRows && !widths.empty()) NoteDifference();
        m_width = usual.value_or(m_note.empty() ? 0 : widths.begin()->first);
        m_usualCount = widths[m_width];
        // a width that many lines have is another form of record: its last fields are optional
        for (const auto& [width, count] : widths)
            if (count > 1 && 4 * count > m_usualCount) m_formWidths.insert(width);
    }

    TableDiagnosis Diagnose() {
        DiagnoseHeading();
        if (m_width == 0) return {m_findings, m_note};
        std::vector<bool> hasDecimals;
        size_t quoted = 0;
        VisitColumn(0, [&](const Row&, const Cell& cell) {
            quoted += cell.type == FieldType_String && IsWhole(Unquoted(cell.text)) ? 1 : 0;
        });
        m_isAllQuoted = 2 * quoted > m_usualCount;
        for (size_t i = 0; i < m_width; i++) hasDecimals.push_back(DiagnoseColumn(i));
        for (const Row& row : m_rows)
            if (row.cells.size() != m_width) DiagnoseWidth(row, hasDecimals);
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const Finding& a, const Finding& b) { return a.line < b.line; });
        return {m_findings, m_note};
    }

private:
    void NoteDifference() {
        m_note = Format(
            "%zu lines that differ are too few to tell which are right: look at them with "
            "tavo-check --show",
            m_rows.size());
    }

    void Warn(const Row& row, size_t field, const std::string& cause) {
        m_findings.push_back({false, row.line, static_cast<int>(field) + 1, row.cells[field].column, cause});
    }

    /** Lines that begin with a text, before the first of many records that begin with a number. */
    void DiagnoseHeading() {
        const auto isNumbered = [](const Row& row) {
            return !row.cells.empty() && row.cells[0].type == FieldType_Number;
        };
        const auto isText = [](const Row& row) {
            return !row.cells.empty() && row.cells[0].type == FieldType_String &&
                   !IsWhole(Unquoted(row.cells[0].text));
        };
        const auto end = std::find_if_not(m_rows.begin(), m_rows.end(), isText);
        const auto count = std::count_if(end, m_rows.end(), isNumbered);
        if (2 * static_cast<size_t>(count) <= m_rows.size() - 1) return;
        for (auto row = m_rows.begin(); row != end; ++row) {
            Warn(*row, 0, "a heading is sent as a record: delete the line");
            m_heading = row->line;
        }
    }

    void DiagnoseWidth(const Row& row, const std::vector<bool>& hasDecimals) {
        const std::string cause = Format("%zu fields, %zu of %zu lines have %zu", row.cells.size(),
                                         m_usualCount, m_rows.size(), m_width);
        const std::optional<size_t> comma =
            row.cells.size() > m_width ? FindDecimalComma(row, hasDecimals) : std::nullopt;
        if (comma)
            Warn(row, *comma,
                 Format("%s: decimal comma in field %zu? Write a point", cause.c_str(), *comma + 1));
        else if (m_note.empty() && m_formWidths.count(row.cells.size()) == 0)
            m_findings.push_back({false, row.line, 0, 0, cause});
    }

    /** Rows of the usual width, without a heading. */
    template <class Visit>
    void VisitColumn(size_t field, const Visit& visit) {
        for (const Row& row : m_rows)
            if (row.cells.size() == m_width && row.line > m_heading) visit(row, row.cells[field]);
    }

    /** Returns whether most numbers of the column have decimals. */
    bool DiagnoseColumn(size_t field) {
        std::map<FieldType, size_t> types;
        size_t withDecimals = 0;
        size_t count = 0;
        VisitColumn(field, [&](const Row&, const Cell& cell) {
            types[cell.type]++;
            count++;
            withDecimals += cell.text.find('.') != std::string::npos && cell.type == FieldType_Number ? 1 : 0;
        });
        std::map<FieldType, size_t> meant = CountMeant(field);
        const std::optional<FieldType> usual = FindUsual(meant);
        const bool hasUsual = usual && *usual != FieldType_Unknown;
        if (!usual && m_rows.size() <= fewRows) NoteDifference();
        VisitColumn(field, [&](const Row& row, const Cell& cell) {
            const bool isText = cell.type == FieldType_String;
            const SpreadsheetForm* form = isText ? FindSpreadsheetForm(Unquoted(cell.text)) : nullptr;
            const bool isNamed = hasUsual && form != nullptr && *usual != FieldType_String;
            // a field of no kind is an error by itself
            if (form != nullptr && form->isNeverMeant)
                Warn(row, field, form->advice);
            else if (hasUsual && cell.type != *usual && cell.type != FieldType_Unknown)
                Warn(row, field,
                     isNamed && 2 * types[*usual] <= count
                         ? form->advice
                         : Format("a %s, where %zu of %zu lines have a %s", NameOf(cell.type),
                                  (isNamed ? types : meant)[*usual], count, NameOf(*usual)) +
                               (isNamed ? std::string(": ") + form->advice : ""));
        });
        DiagnoseBarcodes(field);
        DiagnosePointsInThousands(field);
        return 2 * withDecimals > count;
    }

    /** How many fields of the column are meant to be of which kind. */
    std::map<FieldType, size_t> CountMeant(size_t field) {
        std::map<FieldType, size_t> types;
        size_t wholeTexts = 0;
        // a record's number is no text; where it stands in quotes, all cells do
        bool isMeantOtherwise = field == 0 || m_isAllQuoted;
        VisitColumn(field, [&](const Row&, const Cell& cell) {
            const FieldType meant = MeantType(cell);
            const bool isText = cell.type == FieldType_String;
            types[meant]++;
            wholeTexts += isText && IsWhole(Unquoted(cell.text)) ? 1 : 0;
            isMeantOtherwise = isMeantOtherwise || (isText && meant == FieldType_Number);
        });
        // codes are texts of digits, too, but not among prices
        if (isMeantOtherwise && wholeTexts == types[FieldType_String]) {
            types[FieldType_Number] += wholeTexts;
            types[FieldType_String] = 0;
        }
        return types;
    }

    /** 1.250 among whole numbers: a zero at the end shows that the point is no decimal point. So does a
     * decimal comma in another line. */
    void DiagnosePointsInThousands(size_t field) {
        static const Pattern grouped(R"(-?[1-9]\d{0,2}\.\d{3})");
        static const Pattern small(R"(-?[1-9]\d{0,2})");
        static const Pattern withComma(R"("?-?\d[\d.]*,\d+"?)");
        bool hasComma = false;
        std::vector<const Row*> rows;
        bool hasZero = false;
        size_t others = 0;
        size_t smallCount = 0;
        VisitColumn(field, [&](const Row& row, const Cell& cell) {
            if (cell.type == FieldType_Number && grouped.Matches(cell.text)) {
                rows.push_back(&row);
                hasZero = hasZero || cell.text.back() == '0';
            } else if (cell.text.size() <= TextDataParser::maxFieldLength && withComma.Matches(cell.text)) {
                hasComma = true;
            } else if (cell.text != "0") {
                (small.Matches(cell.text) ? smallCount : others)++;
            }
        });
        if (!hasComma && (!hasZero || others > 0 || smallCount == 0)) return;
        for (const Row* row : rows)
            Warn(*row, field,
                 "a point for thousands? It is taken for a decimal point: format the column without "
                 "thousands separators");
    }

    void DiagnoseBarcodes(size_t field) {
        std::map<size_t, size_t> right;  // by length
        std::map<size_t, size_t> counts;
        size_t rightCount = 0;
        size_t count = 0;
        size_t textCount = 0;
        VisitColumn(field, [&](const Row&, const Cell& cell) {
            const std::string digits = Unquoted(cell.text);
            if (!HasBarcodeLength(digits)) return;
            const bool isRight = digits.back() == CheckDigitOf(digits);
            counts[digits.size()]++;
            right[digits.size()] += isRight ? 1 : 0;
            count++;
            rightCount += isRight ? 1 : 0;
            textCount += cell.type == FieldType_String ? 1 : 0;
        });
        if (rightCount < 2 || 2 * rightCount <= count) return;
        std::map<std::string, const Row*> articles;  // by barcode, the first one that has it
        VisitColumn(field, [&](const Row& row, const Cell& cell) {
            const std::string digits = Unquoted(cell.text);
            const size_t length = digits.size();
            // numbers of the shop's own, of another length than the barcodes among them, have no check digit
            const bool isOwn = counts[length] >= fewestOwnNumbers && 2 * right[length] <= counts[length];
            const bool isBarcode = HasBarcodeLength(digits) && !isOwn;
            const bool isRight = isBarcode && digits.back() == CheckDigitOf(digits);
            const Row* const first = isRight ? articles.emplace(digits, &row).first->second : &row;
            if (first->cells[0].text != row.cells[0].text)
                Warn(row, field,
                     Format("barcode %s is that of another article, too, in line %d", digits.c_str(),
                            first->line));
            if (isBarcode && !isRight && !IsWeighed(digits))
                Warn(row, field,
                     Format("barcode %s has a wrong check digit: %c would be right", digits.c_str(),
                            CheckDigitOf(digits)));
            // a number arrives the same without them
            if (2 * textCount > count && HasLostZeros(digits))
                Warn(row, field,
                     Format("barcode %s: has a spreadsheet taken the zeros at its start? Format the column "
                            "as text",
                            digits.c_str()));
        });
    }

    std::vector<Row> m_rows;
    size_t m_width = 0;  // that most rows have, 0 for none
    size_t m_usualCount = 0;
    std::set<size_t> m_formWidths;
    int m_heading = 0;  // its last line
    std::vector<Finding> m_findings;
    std::string m_note;
    bool m_isAllQuoted = false;  // the numbers of most records, too
};

}  // namespace

TableDiagnosis DiagnoseTable(const std::vector<std::string>& lines, char delimiter) {
    return Table(lines, delimiter).Diagnose();
}
