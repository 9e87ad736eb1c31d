#pragma once

#include <string>

/** Whether it has the length of an EAN-8, UPC-A or EAN-13. */
bool IsBarcode(const std::string& digits);
/** The check digit that the other digits ask for: they weigh 3 and 1 in turn, from the right. */
char CheckDigitOf(const std::string& barcode);
/** Whether a scale is to write weight or price, and the check digit behind them, in the place of zeros. */
bool IsWeighed(const std::string& barcode);
/** Whether zeros at its start make a barcode of it; short ones are numbers of the shop's own. */
bool HasLostZeros(const std::string& digits);
