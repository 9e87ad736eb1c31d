#pragma once

#include <string>

/** What is wrong with a file, or likely not meant. */
struct Finding {
    bool isBad = false;  // the line is not sent; otherwise it is, but hardly as it was meant
    int line = 0;        // from 1; 0 for the file as a whole
    int field = 0;       // from 1; 0 for the line as a whole
    int column = 0;      // in bytes, from 1; 0 for none
    std::string cause;
};

/** "warning: line 2, field 4, column 30: field is empty" */
std::string ToText(const Finding& finding);
/** The same as an object. */
std::string ToJson(const Finding& finding);
std::string ToJson(const Finding& finding, const char* severity);
