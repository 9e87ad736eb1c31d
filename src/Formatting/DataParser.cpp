#include "Formatting/DataParser.h"

bool DataParser::IsValidString(const char* str) {
    for (; *str != '\0'; str++)
        if (static_cast<byte>(*str) < 31) return false;
    return true;
}
