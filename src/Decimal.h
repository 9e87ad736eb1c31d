#pragma once

#include <cstdint>
#include <string>

#include "Byte.h"

/**
 * Exact fixed-point number: a 64-bit integer scaled by ten to the power of its decimal places.
 * Overflow is not detected: all arithmetic wraps in 64 bits, decimal counts in 8.
 */
class Decimal {
public:
    Decimal() = default;
    Decimal(int64_t value, byte decimalCount);
    Decimal& operator=(int64_t n);

    /** The scaled integer: 1.25 gives 125. */
    int64_t ToInt64() const;
    /** "-12.34"; trailing zeros stay. */
    std::string ToString() const;
    /** Optional "-", digits, optional "." and digits; the value is normalized. False for any other text. */
    bool FromString(const std::string& str);

    byte GetDecimalCount() const;
    /** Rescales; dropped places are cut off, not rounded. */
    void SetDecimalCount(byte decCount);
    static void AlignDecimals(Decimal& l, Decimal& r);
    bool IsNegative() const;
    /** Digits of the scaled integer read as unsigned, so a negative value has 19 or 20; 0 for 0. */
    byte GetDigitCount() const;
    /** Removes trailing zeros after the point. */
    void Normalize();

    Decimal& operator+=(const Decimal& r);
    Decimal& operator-=(const Decimal& r);

    /** Bytes that the magnitude needs, 0 to 8. */
    byte GetDataByteCount() const;
    /** Writes the low bufLen bytes of the magnitude, least significant first. */
    void Serialize(byte* buf, byte bufLen, bool& isNegative, byte& decimalCount) const;
    /** Takes a magnitude of at most 8 bytes, least significant first. */
    void Deserialize(const byte* buf, byte bufLen, bool isNegative, byte decimalCount);

private:
    uint64_t Magnitude() const;

    int64_t m_num = 0;
    byte m_dec = 0;
};

/** Rounds half up on the first dropped digit; a negative value with any other digit than 0 there goes up by
 * one. */
Decimal Round(const Decimal& decimal, byte decimalCount);

/** -1, 0 or 1. */
int Compare(const Decimal& l, const Decimal& r);

Decimal operator*(const Decimal& l, const Decimal& r);
