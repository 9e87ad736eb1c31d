#pragma once

#include "Byte.h"
#include "Decimal.h"

/** Decimal numbers and trimming over fixed character buffers, as the text record encoding uses them. */

/** Decimal::FromString; the second argument is not used. */
bool StringToDecimal(const char* str, byte, Decimal& dec);

/** Copies the text with its NUL; false, and str untouched, when strLen characters cannot hold both. */
bool DecimalToString(char* str, byte strLen, const Decimal& dec);

/** Removes, in place, every leading and trailing character that occurs in charsToTrim; returns str. */
char* StrTrim(char* str, const char* charsToTrim);
