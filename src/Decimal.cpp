#include "Decimal.h"

#include <algorithm>

namespace {

constexpr byte maxMagnitudeBytes = 8;

// Signed overflow is undefined, so what must wrap is computed unsigned and converted back.
int64_t Wrap(uint64_t value) { return static_cast<int64_t>(value); }
uint64_t Unsigned(int64_t value) { return static_cast<uint64_t>(value); }

}  // namespace

Decimal::Decimal(int64_t value, byte decimalCount) : m_num(value), m_dec(decimalCount) {}

Decimal& Decimal::operator=(int64_t n) {
    m_num = n;
    m_dec = 0;
    return *this;
}

int64_t Decimal::ToInt64() const { return m_num; }

std::string Decimal::ToString() const {
    std::string text = std::to_string(m_num);
    const bool isNegative = text[0] == '-';
    if (isNegative) text.erase(0, 1);
    if (m_dec > 0) {
        if (text.size() <= m_dec) text.insert(0, m_dec + 1 - text.size(), '0');
        text.insert(text.size() - m_dec, ".");
    }
    return isNegative ? "-" + text : text;
}

bool Decimal::FromString(const std::string& str) {
    *this = 0;
    uint64_t num = 0;
    bool isNegative = false;
    for (size_t i = 0; i < str.size(); i++) {
        const char c = str[i];
        if (c >= '0' && c <= '9') {
            num = num * 10 + static_cast<uint64_t>(c - '0');
        } else if (c == '.' && m_dec == 0) {
            m_dec = static_cast<byte>(str.size() - 1 - i);
        } else if (c == '-' && i == 0) {
            isNegative = true;
        } else {
            return false;
        }
    }
    m_num = Wrap(isNegative ? 0 - num : num);
    Normalize();
    return true;
}

byte Decimal::GetDecimalCount() const { return m_dec; }

void Decimal::SetDecimalCount(byte decCount) {
    for (; m_dec < decCount; m_dec++) m_num = Wrap(Unsigned(m_num) * 10);
    for (; m_dec > decCount; m_dec--) m_num /= 10;
}

void Decimal::AlignDecimals(Decimal& l, Decimal& r) {
    const byte decCount = std::max(l.m_dec, r.m_dec);
    l.SetDecimalCount(decCount);
    r.SetDecimalCount(decCount);
}

bool Decimal::IsNegative() const { return m_num < 0; }

byte Decimal::GetDigitCount() const {
    byte count = 0;
    for (uint64_t rest = Unsigned(m_num); rest != 0; rest /= 10) count++;
    return count;
}

void Decimal::Normalize() {
    for (; m_dec > 0 && m_num % 10 == 0; m_dec--) m_num /= 10;
}

Decimal& Decimal::operator+=(const Decimal& r) {
    Decimal other = r;
    AlignDecimals(*this, other);
    m_num = Wrap(Unsigned(m_num) + Unsigned(other.m_num));
    Normalize();
    return *this;
}

Decimal& Decimal::operator-=(const Decimal& r) {
    Decimal other = r;
    AlignDecimals(*this, other);
    m_num = Wrap(Unsigned(m_num) - Unsigned(other.m_num));
    Normalize();
    return *this;
}

uint64_t Decimal::Magnitude() const { return IsNegative() ? 0 - Unsigned(m_num) : Unsigned(m_num); }

byte Decimal::GetDataByteCount() const {
    byte count = 0;
    for (uint64_t rest = Magnitude(); rest != 0; rest >>= 8) count++;
    return count;
}

void Decimal::Serialize(byte* buf, byte bufLen, bool& isNegative, byte& decimalCount) const {
    isNegative = IsNegative();
    decimalCount = m_dec;
    uint64_t rest = Magnitude();
    for (byte i = 0; i < bufLen; i++, rest >>= 8) buf[i] = static_cast<byte>(rest);
}

void Decimal::Deserialize(const byte* buf, byte bufLen, bool isNegative, byte decimalCount) {
    uint64_t magnitude = 0;
    for (byte i = std::min(bufLen, maxMagnitudeBytes); i > 0; i--) magnitude = magnitude << 8 | buf[i - 1];
    m_num = Wrap(isNegative ? 0 - magnitude : magnitude);
    m_dec = decimalCount;
}

Decimal Round(const Decimal& decimal, byte decimalCount) {
    if (decimalCount >= decimal.GetDecimalCount()) return decimal;
    int64_t num = decimal.ToInt64();
    int64_t firstDroppedDigit = 0;
    for (byte places = decimal.GetDecimalCount(); places > decimalCount; places--) {
        firstDroppedDigit = num % 10;
        num /= 10;
    }
    // The remainder counts as an unsigned byte, so any negative one is above 4 and takes the value up: -1.21
    // gives -1.1. The asymmetry is meant.
    if (static_cast<byte>(firstDroppedDigit) > 4) num++;
    return {num, decimalCount};
}

int Compare(const Decimal& l, const Decimal& r) {
    Decimal left = l;
    Decimal right = r;
    Decimal::AlignDecimals(left, right);
    if (left.ToInt64() == right.ToInt64()) return 0;
    return left.ToInt64() > right.ToInt64() ? 1 : -1;
}

Decimal operator*(const Decimal& l, const Decimal& r) {
    Decimal product(Wrap(Unsigned(l.ToInt64()) * Unsigned(r.ToInt64())),
                    static_cast<byte>(l.GetDecimalCount() + r.GetDecimalCount()));
    product.Normalize();
    return product;
}
