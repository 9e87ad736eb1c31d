#pragma once

#include <string>
#include <vector>

#include "Formatting/TextDataParser.h"

/** What a spreadsheet, or quotes, have made of a value. */
struct SpreadsheetForm {
    FieldType meant;     // by a column that looks so for the most part; None: it may be meant as a text
    const char* advice;  // "a decimal comma: write a point"
    bool isNeverMeant;   // not as a text, either
    const char* example;
};

/** Every form, in the order in which they are tried. */
std::vector<const SpreadsheetForm*> GetSpreadsheetForms();

/** The form that the text of a field, without quotes, has; null for any other text. */
const SpreadsheetForm* FindSpreadsheetForm(const std::string& text);
/** Its advice; empty for any other text. */
std::string AdviseOnSpreadsheetForm(const std::string& text);

/** Whether it can only be a text that lacks its quotes: it begins with a letter, and is no such form. */
bool IsBareText(const std::string& field);
