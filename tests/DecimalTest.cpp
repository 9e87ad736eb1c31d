#include "Decimal.h"

#include <gtest/gtest.h>

#include <climits>

#include "OLVE_Compatibility.h"
#include "Support.h"

namespace {

std::string Parse(const std::string& text) {
    Decimal number(99, 9);
    return number.FromString(text) ? number.ToString() : "refused";
}

}  // namespace

TEST(DecimalTest, PrintsEveryDigitAndTheSignInFrontOfALeadingZero) {
    EXPECT_EQ(Decimal(5, 2).ToString(), "0.05");
    EXPECT_EQ(Decimal(-1234, 2).ToString(), "-12.34");
    EXPECT_EQ(Decimal(-5, 1).ToString(), "-0.5");
    EXPECT_EQ(Decimal(100, 2).ToString(), "1.00");
    EXPECT_EQ(Decimal(0, 3).ToString(), "0.000");
    EXPECT_EQ(Decimal(INT64_MIN, 0).ToString(), "-9223372036854775808");
}

TEST(DecimalTest, ParsesOnlyPlainNumbers) {
    const struct {
        const char* text;
        const char* value;
    } cases[] = {{"", "0"},           {"-", "0"},           {".", "0"},
                 {"5.", "5"},         {"1.20", "1.2"},      {"-0.50", "-0.5"},
                 {"1..2", "refused"}, {"1.2.3", "refused"}, {"1-2", "refused"},
                 {"+1", "refused"},   {" 1", "refused"},    {"1e3", "refused"},
                 {"12a", "refused"},  {"00.000", "0"},      {"18446744073709551617", "1"}};
    for (const auto& c : cases) EXPECT_EQ(Parse(c.text), c.value) << "'" << c.text << "'";
}

TEST(DecimalTest, AddsAndMultipliesExactlyAndWraps) {
    Decimal sum(125, 2);
    sum += Decimal(75, 2);
    EXPECT_EQ(sum.ToString(), "2");
    sum -= Decimal(5, 3);
    EXPECT_EQ(sum.ToString(), "1.995");
    EXPECT_EQ((Decimal(15, 1) * Decimal(-2, 1)).ToString(), "-0.3");
    Decimal largest(INT64_MAX, 0);
    largest += Decimal(1, 0);
    EXPECT_EQ(largest.ToInt64(), INT64_MIN);
    EXPECT_EQ((Decimal(INT64_MAX, 200) * Decimal(2, 100)).GetDecimalCount(), 44);
    EXPECT_EQ(Compare(Decimal(12, 1), Decimal(120, 2)), 0);
    EXPECT_EQ(Compare(Decimal(-1, 0), Decimal(1, 5)), -1);
}

TEST(DecimalTest, RoundsOnTheFirstDroppedDigitAndNegativesUpwards) {
    const struct {
        Decimal value;
        const char* rounded;
    } cases[] = {{{1249, 3}, "1.2"},  {{125, 2}, "1.3"},   {{124, 2}, "1.2"},   {{-125, 2}, "-1.1"},
                 {{-121, 2}, "-1.1"}, {{-127, 2}, "-1.1"}, {{-120, 2}, "-1.2"}, {{7, 0}, "7"}};
    for (const auto& c : cases) EXPECT_EQ(Round(c.value, 1).ToString(), c.rounded) << c.value.ToString();
}

TEST(DecimalTest, SerializesTheMagnitudeLowByteFirst) {
    byte bytes[8];
    bool isNegative = false;
    byte decimals = 0;
    Decimal(-300, 1).Serialize(bytes, 2, isNegative, decimals);
    EXPECT_EQ(ToHex(bytes, 2), "2C 01");
    EXPECT_TRUE(isNegative);
    EXPECT_EQ(decimals, 1);
    EXPECT_EQ(Decimal(INT64_MIN, 0).GetDataByteCount(), 8);
    EXPECT_EQ(Decimal(255, 0).GetDataByteCount(), 1);
    EXPECT_EQ(Decimal(256, 0).GetDataByteCount(), 2);
    EXPECT_EQ(Decimal(-1, 0).GetDigitCount(), 20);

    Decimal smallest;
    Decimal(INT64_MIN, 0).Serialize(bytes, 8, isNegative, decimals);
    smallest.Deserialize(bytes, 8, isNegative, decimals);
    EXPECT_EQ(smallest.ToInt64(), INT64_MIN);
}

TEST(DecimalTest, RescalesByCuttingNotRounding) {
    Decimal number(-1299, 2);
    number.SetDecimalCount(0);
    EXPECT_EQ(number.ToString(), "-12");
    number.SetDecimalCount(3);
    EXPECT_EQ(number.ToString(), "-12.000");
    number.Normalize();
    EXPECT_EQ(number.GetDecimalCount(), 0);
}

TEST(DecimalTest, LeavesATooSmallBufferAlone) {
    char text[] = "????";
    EXPECT_FALSE(DecimalToString(text, 4, Decimal(1234, 0)));
    EXPECT_STREQ(text, "????");
    EXPECT_TRUE(DecimalToString(text, 5, Decimal(1234, 0)));
    EXPECT_STREQ(text, "1234");
    char padded[] = "\t 12 \t";
    EXPECT_STREQ(StrTrim(padded, " \t"), "12");
    char blank[] = "  ";
    EXPECT_STREQ(StrTrim(blank, " "), "");
}
