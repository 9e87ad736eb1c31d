#include "SpreadsheetForm.h"

#include <regex>

const SpreadsheetForm* FindSpreadsheetForm(const std::string& text) {
    // blanks of one byte and of several, apostrophes, and what stands for one that the code page does not
    // have
    static const std::string gap = "([ '?\xA0\x92]|\xC2\xA0|\xE2\x80[\xAF\x89\x99])";
    static const std::string sign = "([$\xA3\x80]|\xE2\x82\xAC|\xC2\xA3|EUR|USD|GBP|kr|K\xC4\x8D|z\xC5\x82)";
    static const std::string digits = "-?\\d([\\d.,]|" + gap + ")*";
    static const char* const thousands = "thousands separators: format the column without them";
    static const char* const currency = "a currency sign: format the column without it";
    static const char* const inQuotes = "a number in quotes arrives as a text: leave the quotes out";
    static const struct {
        std::regex pattern;
        SpreadsheetForm form;
    } rows[] = {
        {std::regex(R"(-?\d([.,]\d+)?E[+-]\d{2,3})"),
         {FieldType_None, "a spreadsheet has rounded it: the digits are lost; format the column as text",
          true}},
        {std::regex(
             R"(\d{1,2}[./-]\d{1,2}[./-]\d{2,4}|\d{4}-\d{1,2}-\d{1,2}|\d{1,2}([/-]\d{1,2}|\.\d{1,2}\.)|)"
             R"(\d{1,2}(-|\. ?)[^\d\s.,-]{3,9}\.?([- ]\d{2,4})?|[^\d\s.,-]{3,9}\.?-\d\d)"),
         {FieldType_None, "a spreadsheet has made a date of it; format the column as text", false}},
        {std::regex(R"(\d{1,2}:\d\d(:\d\d)?)"),
         {FieldType_None, "a spreadsheet has made a time of it; format the column as text", false}},
        {std::regex(R"(Err:\d+|#[A-Z/0]+[!?]?)"),
         {FieldType_None, "a formula of the spreadsheet has failed", false}},
        {std::regex("-?\\d{1,3}((" + gap + "\\d{3})+|(\\.\\d{3}){2,})"), {FieldType_None, thousands, false}},
        {std::regex("-?\\d{1,3}((" + gap + "\\d{3})+[.,]\\d+|(,\\d{3})+(\\.\\d+|,\\d{3})|(\\.\\d{3})+,\\d+)"),
         {FieldType_Number, thousands, false}},
        {std::regex(R"(-?[1-9]\d{0,2},\d{3})"),
         {FieldType_Number, "a decimal comma or thousands separators: write a point, and no separators",
          false}},
        {std::regex(R"(-?\d+,\d+)"),
         {FieldType_Number, "a decimal comma: write a point; without quotes tavo-check --fix does it",
          false}},
        {std::regex("-?" + sign + gap + "*" + digits + "|" + digits + sign),
         {FieldType_Number, currency, false}},
        {std::regex("[A-Z]{3}" + gap + "*" + digits + "|" + digits + "[A-Z]{3}"),
         {FieldType_None, currency, false}},
        {std::regex(digits + "%"), {FieldType_None, "a percent sign: format the column without it", false}},
        {std::regex("0x([\\da-fA-F]{2})+"),
         {FieldType_Binary, "binary data in quotes arrives as a text: leave the quotes out", false}},
        {std::regex(R"(-?\d+\.\d+)"), {FieldType_Number, inQuotes, false}},
        {std::regex(R"(-?\d+)"), {FieldType_None, inQuotes, false}}};
    constexpr size_t longestForm = 40;
    if (text.size() > longestForm) return nullptr;
    for (const auto& row : rows)
        if (std::regex_match(text, row.pattern)) return &row.form;
    return nullptr;
}

std::string NameSpreadsheetNumber(const std::string& text) {
    const SpreadsheetForm* form = FindSpreadsheetForm(text);
    return form == nullptr ? "" : form->name;
}
