#pragma once

#include <string>

/** Whether it has the length of an EAN-8, UPC-A or EAN-13. */
bool HasBarcodeLength(const std::string& digits);
/** The check digit that the other digits ask for: they weigh 3 and 1 in turn, from the right. */
char CheckDigitOf(const std::string& barcode);
/** Whether it is an EAN-13 of goods to be weighed: begins with 2, and a scale writes weight or price, and a
 * new check digit, in the place of its last zeros. */
bool IsWeighed(const std::string& barcode);
/** Whether zeros at its start make a barcode with the right check digit of it; short ones are numbers of the
 * shop's own. */
bool HasLostZeros(const std::string& digits);
