#pragma once

#include <string>
#include <vector>

#include "Formatting/TextDataParser.h"

/** What a spreadsheet has made of a number. */
struct SpreadsheetForm {
    FieldType meant;   // of a column whose texts look so for the most part; none: they may be meant as texts
    const char* name;  // "a decimal comma", with what mends it
    bool isRounded;    // its digits are lost
    const char* example;
};

/** Every form, in the order in which they are tried. */
std::vector<const SpreadsheetForm*> GetSpreadsheetForms();

/** The form that the text of a field, without quotes, has; null for any other text. */
const SpreadsheetForm* FindSpreadsheetForm(const std::string& text);
/** Its name; empty for any other text. */
std::string NameSpreadsheetNumber(const std::string& text);
