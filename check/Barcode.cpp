#include "Barcode.h"

bool HasBarcodeLength(const std::string& digits) {
    const bool isLength = digits.size() == 8 || digits.size() == 12 || digits.size() == 13;
    return isLength && digits.find_first_not_of("0123456789") == std::string::npos;
}

char CheckDigitOf(const std::string& barcode) {
    int sum = 0;
    for (size_t i = 0; i + 1 < barcode.size(); i++)
        sum += (barcode[i] - '0') * ((barcode.size() - i) % 2 == 0 ? 3 : 1);
    return static_cast<char>('0' + (10 - sum % 10) % 10);
}

bool IsWeighed(const std::string& barcode) {
    return barcode.size() == 13 && barcode[0] == '2' && barcode.compare(7, 5, "00000") == 0;
}

bool HasLostZeros(const std::string& digits) {
    const bool isLength = digits.size() == 7 || (digits.size() >= 9 && digits.size() <= 11);
    return isLength && digits[0] != '0' && digits.find_first_not_of("0123456789") == std::string::npos &&
           digits.back() == CheckDigitOf(digits);
}
