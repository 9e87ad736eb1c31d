#include "Decimal.h"

#include <gtest/gtest.h>

#include "Support.h"

TEST(DecimalTest, ReadsPlainNumbersAndPrintsThem) {
    const struct {
        const char* text;
        const char* value;
    } cases[] = {{"", "0"},
                 {"-", "0"},
                 {".", "0"},
                 {"5.", "5"},
                 {"1.20", "1.2"},
                 {"-0.50", "-0.5"},
                 {"00.05", "0.05"},
                 {"1..2", "refused"},
                 {"1.2.3", "refused"},
                 {"1-2", "refused"},
                 {"+1", "refused"},
                 {" 1", "refused"},
                 {"1e3", "refused"},
                 {"18446744073709551617", "1"}};
    for (const auto& c : cases) {
        Decimal number(99, 9);
        EXPECT_EQ(number.FromString(c.text) ? number.ToString() : "refused", c.value) << c.text;
    }
    EXPECT_EQ(Decimal(INT64_MIN, 0).ToString(), "-9223372036854775808");
}

TEST(DecimalTest, CalculatesExactlyAndWraps) {
    Decimal sum(125, 2);
    sum += Decimal(75, 2);
    EXPECT_EQ(sum.ToString(), "2");
    sum -= Decimal(5, 3);
    EXPECT_EQ(sum.ToString(), "1.995");
    EXPECT_EQ((Decimal(15, 1) * Decimal(-2, 1)).ToString(), "-0.3");
    Decimal largest(INT64_MAX, 0);
    largest += Decimal(1, 0);
    EXPECT_EQ(largest.ToInt64(), INT64_MIN);
    EXPECT_EQ(Compare(Decimal(12, 1), Decimal(120, 2)), 0);
    EXPECT_EQ(Compare(Decimal(-1, 0), Decimal(1, 5)), -1);
    sum.SetDecimalCount(1);  // cuts, does not round
    EXPECT_EQ(sum.ToString(), "1.9");
}

TEST(DecimalTest, RoundsOnTheFirstDroppedDigitAndNegativesUpwards) {
    const struct {
        Decimal value;
        const char* rounded;
    } cases[] = {{{1249, 3}, "1.2"},  {{125, 2}, "1.3"},   {{-125, 2}, "-1.1"},
                 {{-121, 2}, "-1.1"}, {{-120, 2}, "-1.2"}, {{7, 0}, "7"}};
    for (const auto& c : cases) EXPECT_EQ(Round(c.value, 1).ToString(), c.rounded) << c.value.ToString();
}

TEST(DecimalTest, CarriesTheMagnitudeLowByteFirst) {
    for (const Decimal& number : {Decimal(-300, 1), Decimal(INT64_MIN, 0)}) {
        Bytes bytes(number.GetDataByteCount());
        bool isNegative = false;
        byte decimals = 0;
        number.Serialize(bytes.data(), number.GetDataByteCount(), isNegative, decimals);
        EXPECT_EQ(ToHex(bytes), bytes.size() == 2 ? "2C 01" : "00 00 00 00 00 00 00 80");
        Decimal back;
        back.Deserialize(bytes.data(), number.GetDataByteCount(), isNegative, decimals);
        EXPECT_EQ(back.ToString(), number.ToString());
    }
}
