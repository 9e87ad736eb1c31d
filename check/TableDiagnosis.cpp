#include "TableDiagnosis.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <regex>

#include "Format.h"
#include "Formatting/TextDataParser.h"
#include "Tools.h"

namespace {

constexpr size_t fewestRows = 5;  // fewer have no usual form

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

Row ReadRow(const std::string& line, int number) {
    Row row{number, {}};
    TextDataParser fields(reinterpret_cast<const byte*>(line.data()), static_cast<uint16_t>(line.size()));
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
        if (total >= fewestRows && 2 * count > total) return value;
    return std::nullopt;
}

bool IsWhole(const Cell& cell) {
    return cell.type == FieldType_Number && cell.text.find_first_not_of("-0123456789") == std::string::npos;
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
    explicit Table(const std::vector<std::string>& lines) {
        for (size_t i = 0; i < lines.size(); i++)
            if (!lines[i].empty()) m_rows.push_back(ReadRow(lines[i], static_cast<int>(i) + 1));
        std::map<size_t, size_t> widths;
        for (const Row& row : m_rows) widths[row.cells.size()]++;
        m_width = FindUsual(widths).value_or(0);
        m_usualCount = widths[m_width];
    }

    std::vector<Finding> Diagnose() {
        DiagnoseHeading();
        if (m_width == 0) return m_findings;
        std::vector<bool> hasDecimals;
        for (size_t i = 0; i < m_width; i++) hasDecimals.push_back(DiagnoseColumn(i));
        for (const Row& row : m_rows)
            if (row.cells.size() != m_width) DiagnoseWidth(row, hasDecimals);
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const Finding& a, const Finding& b) { return a.line < b.line; });
        return m_findings;
    }

private:
    void Warn(const Row& row, size_t field, const std::string& cause) {
        m_findings.push_back({false, row.line, static_cast<int>(field) + 1, row.cells[field].column, cause});
    }

    void DiagnoseHeading() {
        if (m_rows.size() < 2 || m_rows[0].cells.empty() || m_rows[0].cells[0].type != FieldType_String)
            return;
        const auto isNumbered = [](const Row& row) {
            return !row.cells.empty() && row.cells[0].type == FieldType_Number;
        };
        const auto count = std::count_if(m_rows.begin(), m_rows.end(), isNumbered);
        if (2 * static_cast<size_t>(count) <= m_rows.size() - 1) return;
        Warn(m_rows[0], 0, "a heading is sent as a record: delete the line");
        m_heading = m_rows[0].line;
    }

    void DiagnoseWidth(const Row& row, const std::vector<bool>& hasDecimals) {
        const std::string cause = Format("%zu fields, %zu of %zu lines have %zu", row.cells.size(),
                                         m_usualCount, m_rows.size(), m_width);
        const std::optional<size_t> comma =
            row.cells.size() > m_width ? FindDecimalComma(row, hasDecimals) : std::nullopt;
        if (comma)
            Warn(row, *comma,
                 Format("%s: decimal comma in field %zu? Write a point", cause.c_str(), *comma + 1));
        else
            m_findings.push_back({false, row.line, 0, 0, cause});
    }

    /** Rows of the usual width, without a heading. */
    template <class Visit>
    void VisitColumn(size_t field, const Visit& visit) {
        for (const Row& row : m_rows)
            if (row.cells.size() == m_width && row.line != m_heading) visit(row, row.cells[field]);
    }

    /** Returns whether most numbers of the column have decimals. */
    bool DiagnoseColumn(size_t field) {
        std::map<FieldType, size_t> types;
        size_t count = 0;
        size_t withDecimals = 0;
        VisitColumn(field, [&](const Row&, const Cell& cell) {
            types[cell.type]++;
            count++;
            withDecimals += cell.text.find('.') != std::string::npos && cell.type == FieldType_Number ? 1 : 0;
        });
        const std::optional<FieldType> usual = FindUsual(types);
        VisitColumn(field, [&](const Row& row, const Cell& cell) {
            const std::string form = NameSpreadsheetNumber(Unquoted(cell.text));
            const bool isRounded = cell.type == FieldType_String && form.find("rounded") != std::string::npos;
            // a field of no kind is an error by itself
            if (isRounded)
                Warn(row, field, form);
            else if (usual && cell.type != *usual && cell.type != FieldType_Unknown)
                Warn(row, field,
                     Format("a %s, where %zu of %zu lines have a %s", NameOf(cell.type), types[*usual], count,
                            NameOf(*usual)) +
                         (*usual == FieldType_Number && !form.empty() ? ": " + form : ""));
        });
        DiagnoseBarcodes(field);
        return 2 * withDecimals > count;
    }

    void DiagnoseBarcodes(size_t field);

    std::vector<Row> m_rows;
    size_t m_width = 0;  // that most rows have, 0 for none
    size_t m_usualCount = 0;
    int m_heading = 0;  // its line
    std::vector<Finding> m_findings;
};

/** Whether it has the length of an EAN-8, UPC-A or EAN-13. */
bool IsBarcode(const std::string& digits) {
    const bool isLength = digits.size() == 8 || digits.size() == 12 || digits.size() == 13;
    return isLength && digits.find_first_not_of("0123456789") == std::string::npos;
}

/** The check digit that the other digits ask for: they weigh 3 and 1 in turn, from the right. */
char CheckDigitOf(const std::string& barcode) {
    int sum = 0;
    for (size_t i = 0; i + 1 < barcode.size(); i++)
        sum += (barcode[i] - '0') * ((barcode.size() - i) % 2 == 0 ? 3 : 1);
    return static_cast<char>('0' + (10 - sum % 10) % 10);
}

void Table::DiagnoseBarcodes(size_t field) {
    size_t right = 0;
    size_t count = 0;
    VisitColumn(field, [&](const Row&, const Cell& cell) {
        const std::string digits = Unquoted(cell.text);
        if (!IsBarcode(digits)) return;
        count++;
        right += digits.back() == CheckDigitOf(digits) ? 1 : 0;
    });
    if (count < fewestRows || 2 * right <= count) return;
    VisitColumn(field, [&](const Row& row, const Cell& cell) {
        const std::string digits = Unquoted(cell.text);
        if (IsBarcode(digits) && digits.back() != CheckDigitOf(digits))
            Warn(row, field,
                 Format("barcode %s has a wrong check digit: %c would be right", digits.c_str(),
                        CheckDigitOf(digits)));
    });
}

}  // namespace

std::string NameSpreadsheetNumber(const std::string& text) {
    static const struct {
        std::regex pattern;
        const char* name;
    } forms[] = {
        {std::regex(R"(-?\d([.,]\d+)?E[+-]\d\d)"),
         "a spreadsheet has rounded it: the digits are lost; format the column as text"},
        {std::regex(R"(\d{1,2}[./-]\d{1,2}[./-]\d{2,4}|\d{4}-\d{1,2}-\d{1,2})"),
         "a spreadsheet has made a date of it; format the column as text"},
        {std::regex("-?\\d{1,3}([ ',]|\xC2\xA0|\xA0|\xE2\x80\xAF)\\d{3}([ "
                    "',.]|\xC2\xA0|\xA0|\xE2\x80\xAF)?[\\d ',.]*"),
         "thousands separators: format the column without them"},
        {std::regex(R"(-?\d+,\d+)"), "a decimal comma: write a point, or let tavo-check --fix do it"},
        {std::regex("([$\xA3\x80]|\xE2\x82\xAC|\xC2\xA3|EUR|USD|GBP) *-?[\\d.,]+|-?[\\d.,]+ "
                    "*([$\xA3\x80]|\xE2\x82\xAC|\xC2\xA3|EUR|USD|GBP)"),
         "a currency sign: format the column without it"},
        {std::regex(R"(-?\d+(\.\d+)?)"), "a number in quotes arrives as a text: leave the quotes out"}};
    for (const auto& form : forms)
        if (std::regex_match(text, form.pattern)) return form.name;
    return "";
}

std::vector<Finding> DiagnoseTable(const std::vector<std::string>& lines) { return Table(lines).Diagnose(); }
