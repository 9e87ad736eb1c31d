#include <gtest/gtest.h>

#include <cstring>

#include "AppConfig.h"
#include "DataConverter.h"
#include "Formatting/BinaryDataFormatter.h"
#include "Formatting/BinaryDataParser.h"
#include "Formatting/TextDataFormatter.h"
#include "Support.h"

namespace {

/** The binary record of a line of the file, in hexadecimal; "" when it is refused or longer than room. */
std::string PcToEcr(const std::string& line, uint16_t room = 1024) {
    const Bytes bytes(line.begin(),
                      line.end());  // an exact buffer lets the sanitizer see a read past its end
    Bytes record(room);
    record.resize(
        DataConverter::PcToEcr(bytes.data(), static_cast<uint16_t>(bytes.size()), record.data(), room));
    return ToHex(record);
}

std::string EcrToPc(const std::string& hex, uint16_t room = 1024) {
    const Bytes record = FromHex(hex);
    Bytes line(room);
    line.resize(
        DataConverter::EcrToPc(record.data(), static_cast<uint16_t>(record.size()), line.data(), room));
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
    const struct {
        std::string record;
        std::string line;
    } cases[] = {{"0C 01 01 0B 42 72 65 61 64 0D 01 02 7D 0E 02 00 FF", "1,\"Bread\",1.25,0x00ff"},
                 {"0B 41 22 0B 0C 01 05", "\"A\"\"\",\"\",5"},
                 {"0C 02 2C 01 0C 00 0D 01 81 0F 0D 00 02", "300,0,-1.5,0.00"},
                 {"0E 00 0C 01 07", "0x,7"},
                 {"0D 08 80 00 00 00 00 00 00 00 80", "-9223372036854775808"},
                 {TextField(127), "\"" + std::string(127, 'A') + "\""},
                 {TextField(128), ""},
                 {"0C 01 01 0F", ""},
                 {"0B 41 1E", ""},     // control character
                 {"0B 41 00 42", ""},  // a NUL would hide the rest
                 {"0D 02 05 01", ""},  // magnitude past the end
                 {"0C", ""},
                 {"0D 00", ""},
                 {"0E 03 01 02", ""},  // binary past the end
                 {"0E", ""},
                 {"0C 09 01 02 03 04 05 06 07 08 09", ""}};
    for (const auto& c : cases) EXPECT_EQ(EcrToPc(c.record), c.line) << c.record;
    EXPECT_EQ(EcrToPc("0B 61 62 63", 5), "");  // one byte stays free
    EXPECT_EQ(EcrToPc("0B 61 62 63", 6), "\"abc\"");
    EXPECT_EQ(EcrToPc("0C 01 7B", 3), "");
    EXPECT_EQ(EcrToPc("0C 01 01 0E 01 01", 6), "");
}

TEST_F(RecordEncodingTest, ReadsTextFields) {
    const struct {
        std::string line;
        std::string record;
    } cases[] = {{"1,\"Bread\",1.25,0x00ff", "0C 01 01 0B 42 72 65 61 64 0D 01 02 7D 0E 02 00 FF"},
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
                 {"\"" + std::string(126, 'A') + "\" ", ""}};  // blanks count, too
    for (const auto& c : cases) EXPECT_EQ(PcToEcr(c.line), c.record) << c.line;
    for (const char* line : {"", "1,,2", ",1", "0X1F", "12a", "0x1", "abc", "\"", "\"a\x1e\"", "1..2",
                             "1.2.3", "1-2", "+1", "1e3"})
        EXPECT_EQ(PcToEcr(line), "") << line;
    EXPECT_EQ(PcToEcr(std::string("1,\"a\0b\"", 7)), "");
    EXPECT_EQ(PcToEcr("\"abc\",1", 4), "");
    EXPECT_EQ(PcToEcr("\"abc\"", 4), "0B 61 62 63");
    AppConfig::SetParameter("Delimiter", ";|", false);
    DataConverter::Initialize(FileType_CSV);
    EXPECT_EQ(PcToEcr("1;\"a,b\""), "0C 01 01 0B 61 2C 62");
}

TEST_F(RecordEncodingTest, CarriesARawRecordAsOneBinaryField) {
    DataConverter::Initialize(FileType_RAW);
    EXPECT_EQ(PcToEcr("AB"), "0E 02 41 42");
    EXPECT_EQ(EcrToPc("0E 02 41 42"), "AB");
    EXPECT_EQ(EcrToPc("0E 02 41 42 0C 00"), "");
    EXPECT_EQ(EcrToPc("0B 41"), "");
}

/** A record is built only where it fits; the text form needs one byte more. */
TEST_F(RecordEncodingTest, StopsWhereTheBufferEnds) {
    AppConfig::Clear();
    const byte data[] = {1, 2};
    const auto build = [&](DataFormatter& formatter) {
        return formatter.AddNumber(Decimal(-15, 1)) && formatter.AddString("a\"b") &&
               formatter.AddBinary(data, 2);
    };
    for (uint16_t size = 0; size < 20; size++) {
        Bytes buffer(size);  // of just that size, so that the sanitizer sees a write behind its end
        BinaryDataFormatter binary(buffer.data(), size);
        EXPECT_EQ(build(binary), size >= 4 + 4 + 4) << size;
        TextDataFormatter text(buffer.data(), size);
        EXPECT_EQ(build(text), size > std::strlen("-1.5,\"a\"\"b\",0x0102")) << size;
    }
    const Bytes record = FromHex("0e 02 01 02");
    byte taken[2];
    uint16_t length = 0;
    EXPECT_FALSE(BinaryDataParser(record.data(), 4).GetBinary(taken, 1, length));
    EXPECT_TRUE(BinaryDataParser(record.data(), 4).GetBinary(taken, 2, length));
}
