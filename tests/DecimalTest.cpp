#include "Decimal.h"

#include <gtest/gtest.h>

#include "Support.h"

TEST(DecimalTest, ReadsPlainNumbersAndPrintsThem) {
    const char* cases[][2] = {{"", "0"},
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
                              {"1e3", "refused"},
                              {"18446744073709551617", "1"},
                              {"9223372036854775808", "-9223372036854775808"}};
    for (const auto& [text, value] : cases) {
        Decimal number(99, 9);
        EXPECT_EQ(number.FromString(text) ? number.ToString() : "refused", value) << text;
    }
}

TEST(DecimalTest, CalculatesExactlyAndWraps) {
    Decimal sum(125, 2);
    sum += Decimal(75, 2);
    EXPECT_EQ(sum.ToString(), "2");
    sum -= Decimal(5, 3);
    EXPECT_EQ(sum.ToString(), "1.995");
    sum.SetDecimalCount(1);  // cuts, does not round
    EXPECT_EQ((sum * Decimal(-2, 1)).ToString(), "-0.38");
    sum += Decimal(INT64_MAX, 1);
    EXPECT_LT(sum.ToInt64(), 0);
    EXPECT_EQ(Compare(Decimal(12, 1), Decimal(120, 2)), 0);
    EXPECT_EQ(Compare(Decimal(-1, 0), Decimal(1, 5)), -1);
    // the first dropped digit counts, negatives are rounded upwards
    for (const auto& [value, rounded] : {std::pair(1249, 12), {1250, 13}, {-1210, -11}, {-1200, -12}})
        EXPECT_EQ(Round(Decimal(value, 3), 1).ToInt64(), rounded) << value;
}
