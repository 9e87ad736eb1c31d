#pragma once

#include <string>
#include <vector>

#include "Finding.h"

/** A CSV file as it was meant. */
struct FixedText {
    std::string text;
    std::vector<Finding> changes;  // by line
    std::vector<Finding> left;     // as it was, where the correction was not certain
};

/**
 * Corrects where the correction is certain: removes a byte-order mark, ends lines by line feeds, puts the
 * delimiter in the place of a semicolon, tab or bar that separates every line, writes decimal
 * commas as points where another delimiter separates the fields, and converts UTF-8 into the code page (a
 * name that iconv knows; empty: not). Nothing else is changed; fixing the copy changes nothing in it.
 * CommandLineException for a code page that there is not.
 */
FixedText FixText(const std::string& text, char delimiter, const std::string& codePage);
