#include <gtest/gtest.h>

#include "AppConfig.h"
#include "DataConverter.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Formatting/BinaryDataParser.h"
#include "Formatting/TextDataFormatter.h"
#include "Formatting/TextDataParser.h"
#include "Support.h"

namespace {

/** The fields of a record, each with a letter for its kind; "!" where the parser refuses one. */
std::string Describe(DataParser& parser) {
    std::string text;
    for (;;) {
        char string[200];
        byte bytes[200];
        uint16_t size = 0;
        Decimal number;
        switch (parser.GetFieldType()) {
            case FieldType_None: return text;
            case FieldType_Unknown: return text + "?";
            case FieldType_String:
                if (!parser.GetString(string, sizeof string)) return text + "!";
                text += std::string("S(") + string + ")";
                break;
            case FieldType_Number:
                if (!parser.GetNumber(number)) return text + "!";
                text += "N(" + number.ToString() + ")";
                break;
            case FieldType_Binary:
                if (!parser.GetBinary(bytes, sizeof bytes, size)) return text + "!";
                text += "B(" + ToHex(bytes, size) + ")";
                break;
        }
    }
}

std::string Binary(const std::string& hex) {
    const Bytes record = FromHex(hex);
    BinaryDataParser parser(record.data(), static_cast<uint16_t>(record.size()));
    return Describe(parser);
}

std::string Text(const std::string& line) {
    TextDataParser parser(reinterpret_cast<const byte*>(line.data()), static_cast<uint16_t>(line.size()));
    return Describe(parser);
}

std::string PcToEcr(const std::string& line) {
    byte record[1024];
    const uint16_t length = DataConverter::PcToEcr(reinterpret_cast<const byte*>(line.data()),
                                                   static_cast<uint16_t>(line.size()), record, sizeof record);
    return ToHex(record, length);
}

std::string EcrToPc(const std::string& hex) {
    const Bytes record = FromHex(hex);
    byte line[1024];
    const uint16_t length =
        DataConverter::EcrToPc(record.data(), static_cast<uint16_t>(record.size()), line, sizeof line);
    return {line, line + length};
}

class RecordEncodingTest : public testing::Test {
protected:
    void SetUp() override {
        AppConfig::Clear();
        DataConverter::Initialize(FileType_CSV);
    }
};

}  // namespace

TEST_F(RecordEncodingTest, ParsesBinaryFieldsAndRefusesThoseThatOverrunTheRecord) {
    const struct {
        const char* record;
        const char* fields;
    } cases[] = {{"0B 41 42 0B 43", "S(AB)S(C)"},
                 {"0B 0C 01 05", "S()N(5)"},
                 {"0C 02 2C 01", "N(300)"},
                 {"0C 00", "N(0)"},
                 {"0D 01 81 0F", "N(-1.5)"},
                 {"0D 00 02", "N(0.00)"},
                 {"0E 02 01 FF 0C 01 07", "B(01 FF)N(7)"},
                 {"0E 00", "B()"},
                 {"0F", "?"},
                 {"0B 41 1E", "!"},     // control character
                 {"0B 41 00 42", "!"},  // a NUL would hide the rest
                 {"0D 02 05 01", "!"},  // magnitude past the end
                 {"0C", "!"},
                 {"0D 00", "!"},
                 {"0E 03 01 02", "!"},  // binary past the end
                 {"0E", "!"},
                 {"0C 09 01 02 03 04 05 06 07 08 09", "!"}};
    for (const auto& c : cases) EXPECT_EQ(Binary(c.record), c.fields) << c.record;
}

TEST_F(RecordEncodingTest, WritesBinaryFieldsUpToTheLastByteOfTheBuffer) {
    byte record[32];
    BinaryDataFormatter formatter(record, sizeof record);
    EXPECT_TRUE(formatter.AddNumber(Decimal(300, 0)));
    EXPECT_TRUE(formatter.AddNumber(Decimal(-15, 1)));
    EXPECT_TRUE(formatter.AddNumber(Decimal(0, 0)));
    EXPECT_TRUE(formatter.AddNumber(Decimal(0, 2)));
    EXPECT_TRUE(formatter.AddString("AB"));
    EXPECT_TRUE(formatter.AddBinary(FromHex("01 FF").data(), 2));
    EXPECT_EQ(ToHex(record, formatter.GetLength()),
              "0C 02 2C 01 0D 01 81 0F 0C 00 0D 00 02 0B 41 42 0E 02 01 FF");

    BinaryDataFormatter exact(record, 4);
    EXPECT_FALSE(exact.AddString("ABCD"));
    EXPECT_FALSE(exact.AddNumber(Decimal(0x010203, 0)));
    EXPECT_EQ(exact.GetLength(), 0);
    EXPECT_TRUE(exact.AddNumber(Decimal(0x0102, 0)));
}

TEST_F(RecordEncodingTest, ParsesTextFields) {
    const std::string longest(126, 'x');
    const struct {
        std::string line;
        std::string fields;
    } cases[] = {{R"("A,""B""",12.50,0x0aFF,-3)", R"(S(A,"B")N(12.5)B(0A FF)N(-3))"},
                 {R"(  "x"  ,	7 )", "S(x)N(7)"},
                 {"1,", "N(1)"},
                 {"1,,2", "N(1)?"},
                 {",1", "?"},
                 {"0X1F", "!"},
                 {"12a", "!"},
                 {"0x", "B()"},
                 {"0x1", "!"},
                 {"0xzz1", "!"},
                 {"abc", "?"},
                 {R"("ab"c)", R"(S(ab"))"},
                 {"\"", "!"},
                 {"\"\"", "S()"},
                 {"\"a\x1e\"", "!"},
                 {std::string("1,\"a\0b\"", 7), "N(1)?"},
                 {"\"" + longest + "\"", "S(" + longest + ")"},
                 {"\"" + longest + "x\"", "?"},
                 {"\"" + longest + "\" ", "?"}};  // blanks count, too
    for (const auto& c : cases) EXPECT_EQ(Text(c.line), c.fields) << c.line;
}

TEST_F(RecordEncodingTest, TakesOnlyTheFirstCharacterOfTheDelimiter) {
    AppConfig::SetParameter("Delimiter", ";|", false);
    EXPECT_EQ(Text("1;\"a,b\""), "N(1)S(a,b)");
}

TEST_F(RecordEncodingTest, WritesTextFieldsWithOneByteToSpare) {
    byte line[16];
    TextDataFormatter formatter(line, sizeof line);
    EXPECT_TRUE(formatter.AddString("a\"b"));
    EXPECT_TRUE(formatter.AddNumber(Decimal(-5, 1)));
    EXPECT_EQ(std::string(line, line + formatter.GetLength()), "\"a\"\"b\",-0.5");
    EXPECT_FALSE(formatter.AddBinary(FromHex("01").data(), 1));
    EXPECT_FALSE(TextDataFormatter(line, 5).AddString("abc"));
    EXPECT_TRUE(TextDataFormatter(line, 6).AddString("abc"));
    EXPECT_FALSE(TextDataFormatter(line, 3).AddNumber(Decimal(123, 0)));
}

TEST_F(RecordEncodingTest, ConvertsACsvLineToTheRecordAndBack) {
    const std::string record = "0C 01 01 0B 42 72 65 61 64 0D 01 02 7D 0E 02 00 FF";
    EXPECT_EQ(PcToEcr("1,\"Bread\",1.25,0x00ff"), record);
    EXPECT_EQ(EcrToPc(record), "1,\"Bread\",1.25,0x00ff");
    EXPECT_EQ(PcToEcr("1,\"Bread\",,2"), "");
    EXPECT_EQ(PcToEcr(""), "");
    EXPECT_EQ(EcrToPc("0C 01 01 0F"), "");
}

TEST_F(RecordEncodingTest, LimitsFieldsToTheWorkingBuffer) {
    const auto text = [](int length) {
        return "0B" + [&] {
            std::string s;
            for (int i = 0; i < length; i++) s += " 41";
            return s;
        }();
    };
    EXPECT_NE(EcrToPc(text(127)), "");
    EXPECT_EQ(EcrToPc(text(128)), "");
}

TEST_F(RecordEncodingTest, CarriesARawRecordAsOneBinaryField) {
    DataConverter::Initialize(FileType_RAW);
    EXPECT_EQ(PcToEcr("AB"), "0E 02 41 42");
    EXPECT_EQ(EcrToPc("0E 02 41 42"), "AB");
    EXPECT_EQ(EcrToPc("0E 02 41 42 0C 00"), "");
    EXPECT_EQ(EcrToPc("0B 41"), "");
}
