#include <gtest/gtest.h>

#include <cstring>

#include "AppConfig.h"
#include "DataConverter.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Formatting/TextDataFormatter.h"
#include "Support.h"

namespace {

/** The binary record of a line of the file, in hexadecimal; "" when it is refused. */
std::string PcToEcr(const std::string& line) {
    return ToHex(Convert(DataConverter::PcToEcr, {line.begin(), line.end()}));
}

std::string EcrToPc(const std::string& hex) {
    const Bytes line = Convert(DataConverter::EcrToPc, FromHex(hex));
    return {line.begin(), line.end()};
}

std::string TextField(size_t length) { return "0B " + ToHex(Bytes(length, 'A')); }

class RecordEncodingTest : public testing::Test {
protected:
    RecordEncodingTest() {
        AppConfig::Clear();
        DataConverter::Initialize(FileType_CSV);
    }
};

}  // namespace

TEST_F(RecordEncodingTest, ReadsBinaryFieldsAndRefusesThoseThatOverrunTheRecord) {
    for (const auto& [record, line] :
         {std::pair<std::string, std::string>("0C 01 01 0B 42 72 65 61 64 0D 01 02 7D 0E 02 00 FF",
                                              "1,\"Bread\",1.25,0x00ff"),
          {"0B 41 22 0B 0C 01 05", "\"A\"\"\",\"\",5"},
          {"0C 02 2C 01 0C 00 0D 01 81 0F 0D 00 02", "300,0,-1.5,0.00"},
          {"0E 00 0C 01 07", "0x,7"},
          {"0D 08 80 00 00 00 00 00 00 00 80", "-9223372036854775808"},
          {TextField(127), "\"" + std::string(127, 'A') + "\""},
          {TextField(128), ""}})
        EXPECT_EQ(EcrToPc(record), line) << record;
    // control characters, of which a NUL would hide the rest, and fields past the end
    for (const char* bad : {"0B 41 1E", "0B 41 00 42", "0D 02 05 01", "0C", "0D 00", "0E 03 01 02", "0E",
                            "0D 01 7F 05", "0C 01 01 0F", "0C 09 01 02 03 04 05 06 07 08 09"})
        EXPECT_EQ(EcrToPc(bad), "") << bad;
}

TEST_F(RecordEncodingTest, ReadsTextFields) {
    for (const auto& [line, record] :
         {std::pair<std::string, std::string>("1,\"Bread\",1.25,0x00ff",
                                              "0C 01 01 0B 42 72 65 61 64 0D 01 02 7D 0E 02 00 FF"),
          {R"("A,""B""",12.50,-3)", "0B 41 2C 22 42 22 0D 01 01 7D 0D 01 80 03"},
          {"  \"x\"  ,\t7 ", "0B 78 0C 01 07"},
          {"1,", "0C 01 01"},
          {"-,-.50,5.,00.05", "0C 00 0D 01 81 05 0C 01 05 0D 01 02 05"},
          {"18446744073709551617,300,0", "0C 01 01 0C 02 2C 01 0C 00"},  // wraps
          {"9223372036854775808", "0D 08 80 00 00 00 00 00 00 00 80"},
          {"0x,0xzz", "0E 00 0E 01 00"},
          {R"("ab"c)", "0B 61 62 22"},
          {"\"\"", "0B"},
          {"\"" + std::string(126, 'A') + "\"", TextField(126)},
          {"\"" + std::string(127, 'A') + "\"", ""},
          {"\"" + std::string(126, 'A') + "\" ", ""}})  // blanks count, too
        EXPECT_EQ(PcToEcr(line), record) << line;
    for (const char* line : {"", "1,,2", ",1", "0X1F", "12a", "0x1", "abc", "\"", "\"a\x1e\"", "1..2",
                             "1.2.3", "1-2", "+1", "1e3"})
        EXPECT_EQ(PcToEcr(line), "") << line;
    EXPECT_EQ(PcToEcr(std::string("1,\"a\0b\"", 7)), "");
    AppConfig::SetParameter("Delimiter", ";|", false);
    DataConverter::Initialize(FileType_CSV);
    EXPECT_EQ(PcToEcr("1;\"a,b\""), "0C 01 01 0B 61 2C 62");
}

TEST_F(RecordEncodingTest, CarriesARawRecordAsOneBinaryField) {
    DataConverter::Initialize(FileType_RAW);
    EXPECT_EQ(EcrToPc(PcToEcr("AB")), "AB");
    EXPECT_EQ(EcrToPc("0E 02 41 42 0C 00") + EcrToPc("0B 41"), "");
}

/** A record is built only where it fits; the text form needs one byte more. */
TEST_F(RecordEncodingTest, StopsWhereTheBufferEnds) {
    const byte data[] = {1, 2};
    const auto build = [&](DataFormatter& formatter) {
        return formatter.AddNumber(Decimal(-15, 1)) && formatter.AddString("a\"b") &&
               formatter.AddBinary(data, 2);
    };
    for (uint16_t size = 0; size < 20; size++) {
        Bytes buffer(size);  // of just that size, so that the sanitizer sees a write behind its end
        BinaryDataFormatter binary(buffer.data(), size);
        EXPECT_EQ(build(binary), size >= 4 + 4 + 4) << size;
        TextDataFormatter text(buffer.data(), size, ',');
        EXPECT_EQ(build(text), size > std::strlen("-1.5,\"a\"\"b\",0x0102")) << size;
        EXPECT_EQ(TextDataFormatter(buffer.data(), size, ',').AddNumber(Decimal(-15, 1)), size > 4) << size;
    }
}
