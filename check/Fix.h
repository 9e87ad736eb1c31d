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
 * Corrects where the correction is certain: removes a byte-order mark, writes a line feed for a carriage
 * return that ends a line alone, puts the delimiter in the place of another one (; tab | ,) that most lines
 * have, writes decimal commas as points where another delimiter separates the fields, puts quotes around what
 * can only be a text, and converts UTF-8 into the code page (a name that iconv knows; empty: not). Nothing
 * else is changed; a second pass over the copy changes nothing.
 * CommandLineException for a code page that there is not.
 */
FixedText FixText(const std::string& text, char delimiter, const std::string& codePage);
