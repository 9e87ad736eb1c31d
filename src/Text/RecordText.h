#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Records/Record.h"

/** The record as a CSV line; nothing when it is none. */
std::optional<std::string> TextOf(const Record& record);

/** The same for a person, "malformed" for no record. */
std::string DescribeFields(const Record& record);

/** Each field with its kind: 'number 1, text "Rye bread", binary 0x7a'; "malformed" at a field that is none.
 */
std::string DescribeKinds(const Record& record);

/** Rows of pixels as a picture of block characters (UTF-8), four pixels in each; nothing when they are no
 * picture. */
std::optional<std::string> DrawPicture(const std::vector<Record>& rows);
