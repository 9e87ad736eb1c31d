#include "SpreadsheetForm.h"

#include <algorithm>
#include <cctype>

#include "Pattern.h"
#include "Tools.h"

namespace {

struct Row {
    Pattern pattern;
    SpreadsheetForm form;
};

const std::vector<Row>& GetRows() {
    // blanks of one byte and of several, apostrophes, and what stands for one that the code page does not
    // have
    static const std::string gap = "([ '?\xA0\x92]|\xC2\xA0|\xE2\x80[\xAF\x89\x99])";
    static const std::string sign = "([$\xA3\x80]|\xE2\x82\xAC|\xC2\xA3|EUR|USD|GBP|kr|K\xC4\x8D|z\xC5\x82)";
    static const std::string digits = "-?\\d([\\d.,]|" + gap + ")*";
    static const char* const rounded =
        "a spreadsheet has rounded it: the digits are lost; format the column as text";
    static const char* const failed = "a formula of the spreadsheet has failed";
    static const char* const thousands = "thousands separators: format the column without them";
    static const char* const currency = "a currency sign: format the column without it";
    static const char* const inQuotes = "a number in quotes arrives as a text: leave the quotes out";
    static const std::vector<Row> rows = {
        {Pattern(R"(-?\d([.,]\d+)?E\+\d{2,3})"), {FieldType_None, rounded, true, "4.74E+12"}},
        // may be a code
        {Pattern(R"(-?\d([.,]\d+)?E-\d{2,3})"), {FieldType_None, rounded, false, "5E-10"}},
        {Pattern(R"(\d{1,2}[./-]\d{1,2}[./-]\d{2,4}|\d{4}-\d{1,2}-\d{1,2}|\d{1,2}([/-]\d{1,2}|\.\d{1,2}\.)|)"
                 R"(\d{1,2}(-|\. ?)[^\d\s.,-]{3,9}\.?([- ]\d{2,4})?|[^\d\s.,-]{3,9}\.?-\d\d)"),
         {FieldType_None, "a spreadsheet has made a date of it; format the column as text", false,
          "1.5.2026"}},
        {Pattern(R"(\d{1,2}:\d\d(:\d\d)?)"),
         {FieldType_None, "a spreadsheet has made a time of it; format the column as text", false, "12:30"}},
        {Pattern(R"(Err:5\d\d|#N/A|#NV|#[A-Z/0]+[!?])"), {FieldType_None, failed, true, "#N/A"}},
        {Pattern(R"(Err:\d+|#[A-Z/0]+)"), {FieldType_None, failed, false, "#SALE"}},
        {Pattern("-?\\d{1,3}((" + gap + "\\d{3})+|(\\.\\d{3}){2,})"),
         {FieldType_None, thousands, false, "1 234"}},
        {Pattern("-?\\d{1,3}((" + gap + "\\d{3})+[.,]\\d+|(,\\d{3})+(\\.\\d+|,\\d{3})|(\\.\\d{3})+,\\d+)"),
         {FieldType_Number, thousands, false, "1,234.50"}},
        {Pattern(R"(-?[1-9]\d{0,2},\d{3})"),
         {FieldType_Number, "a decimal comma or thousands separators: write a point, and no separators",
          false, "1,234"}},
        {Pattern(R"(-?\d+,\d+)"),
         {FieldType_Number, "a decimal comma: write a point, and no quotes", false, "2,07"}},
        {Pattern("-?" + sign + gap + "*" + digits + "|" + digits + sign),
         {FieldType_Number, currency, false, "5 EUR"}},
        {Pattern("[A-Z]{3}" + gap + "*" + digits + "|" + digits + "[A-Z]{3}"),
         {FieldType_None, currency, false, "CHF 5"}},
        {Pattern(digits + "%"),
         {FieldType_None, "a percent sign: format the column without it", false, "12%"}},
        {Pattern("0x([\\da-fA-F]{2})+"),
         {FieldType_Binary, "binary data in quotes arrives as a text: leave the quotes out", false, "0x7a"}},
        {Pattern(R"(-?\d+\.\d+)"), {FieldType_Number, inQuotes, false, "1.25"}},
        {Pattern(R"(-?\d+)"), {FieldType_None, inQuotes, false, "5"}}};
    return rows;
}

}  // namespace

std::vector<const SpreadsheetForm*> GetSpreadsheetForms() {
    std::vector<const SpreadsheetForm*> forms;
    for (const Row& row : GetRows()) forms.push_back(&row.form);
    return forms;
}

const SpreadsheetForm* FindSpreadsheetForm(const std::string& text) {
    constexpr size_t longestForm = 40;
    if (text.size() > longestForm) return nullptr;
    for (const Row& row : GetRows())
        if (row.pattern.Matches(text)) return &row.form;
    return nullptr;
}

std::string AdviseOnSpreadsheetForm(const std::string& text) {
    const SpreadsheetForm* form = FindSpreadsheetForm(text);
    return form == nullptr ? "" : form->advice;
}

bool IsBareText(const std::string& field) {
    if (field.empty()) return false;
    const auto first = static_cast<unsigned char>(field[0]);
    if (std::isalpha(first) == 0 && first < 0x80) return false;
    // another sign than a letter may stand before a number: a currency, a long minus
    const size_t second = first < 0x80 ? 1 : std::max<size_t>(Utf8Length(field, 0), 1);
    const bool isSign = first >= 0x80 && field.find_first_of("0123456789 \xA0", second) == second;
    return !isSign && FindSpreadsheetForm(field) == nullptr;
}
