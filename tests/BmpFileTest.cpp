#include "BmpFile.h"

#include <gtest/gtest.h>

#include "Support.h"

namespace {

/** 10 x 2 pixels, white and black; the top row black, the bottom row white. */
const Bytes picture = FromHex(
    "42 4D 46 00 00 00 00 00 00 00 3E 00 00 00 "
    "28 00 00 00 0A 00 00 00 02 00 00 00 01 00 01 00 00 00 00 00 "
    "08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "FF FF FF 00 00 00 00 00 "
    "00 00 00 00 FF C0 00 00");

/** The picture with a header field of another value. */
Bytes With(size_t offset, int64_t value, size_t size) {
    Bytes bytes = picture;
    for (size_t i = 0; i < size; i++) bytes.at(offset + i) = static_cast<byte>(value >> 8 * i);
    return bytes;
}

class BmpFileTest : public testing::Test {
protected:
    /** The rows of a file of these bytes with "|" behind each, or why it is refused. */
    std::string RowsOf(const Bytes& bytes) {
        WriteText(path, std::string(bytes.begin(), bytes.end()));
        BmpFileReader reader;
        std::string text;
        byte row[1024];
        const std::string failure = FailureOf([&] {
            reader.Open(path);
            for (int i = 0; const int length = reader.Read(i, reinterpret_cast<char*>(row), sizeof row); i++)
                text += ToHex({row, row + length}) + "|";
        });
        return text + failure;
    }

    TempFolder folder;
    const std::string path = folder / "logo.bmp";
};

}  // namespace

TEST_F(BmpFileTest, ReadsRowsFromTheTopWithTheLeftmostPixelLowest) {
    EXPECT_EQ(RowsOf(picture), "FF FF|00 FC|");
    Bytes inverted = With(54, 0, 4);
    inverted[60] = 0xFF;  // red of entry 1: entry 0 is the darker one now, and the fill bits are 0
    EXPECT_EQ(RowsOf(inverted), "00 00|FF 03|");
    Bytes moved = With(10, 70, 4);
    moved.insert(moved.begin() + 62, 8, 0xAA);
    EXPECT_EQ(RowsOf(moved), "FF FF|00 FC|");
    Bytes wide = With(18, 1200, 4);
    wide[22] = 1;
    wide.resize(62 + 152, 0xFF);
    EXPECT_EQ(RowsOf(wide).size(), 128u * 3);  // the register takes 1024 pixels
}

TEST_F(BmpFileTest, WritesThePictureByteForByte) {
    {
        BmpFileWriter writer;
        writer.Open(path);
        for (const char* row : {"\x01\x02\x03", "\x80\x10\xff"}) writer.Write(row, 3);
        EXPECT_EQ(FailureOf([&] { writer.Write("\x01\x02", 2); }).find("50 Unconsequent line length"), 0u);
    }  // the rows before one of another length are kept
    const std::string text = ReadText(path);
    EXPECT_EQ(ToHex(Bytes(text.begin(), text.end())),
              "42 4D 46 00 00 00 00 00 00 00 3E 00 00 00 "
              "28 00 00 00 18 00 00 00 02 00 00 00 01 00 01 00 00 00 00 00 "
              "08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "FF FF FF 00 00 00 00 00 "
              "01 08 FF 00 80 40 C0 00");
}

TEST_F(BmpFileTest, RefusesWhatItDoesNotUnderstandAtOnce) {
    const std::string wrongFormat = "13 Wrong bitmap file format";
    const std::string readError = "13 File '" + path + "' read error";
    const struct {
        size_t offset;
        int64_t value;
        size_t size;
        std::string result;
    } cases[] = {{0, 0x4D41, 2, wrongFormat},
                 {26, 2, 2, wrongFormat},
                 {28, 4, 2, wrongFormat},
                 {30, 1, 4, wrongFormat},
                 {18, -1, 4, wrongFormat},
                 {22, -2, 4, wrongFormat},
                 {18, 0x7FFFFFFF7FFFFFFF, 8, readError},
                 {10, 0xFFFFFFFF, 4, readError},
                 {10, 63, 4, readError},
                 {22, 3, 4, readError},
                 {22, 0, 4, ""},
                 {18, 0, 4, ""}};
    for (const auto& c : cases)
        EXPECT_EQ(RowsOf(With(c.offset, c.value, c.size)), c.result) << c.offset << " " << c.value;
    for (Bytes cut = picture; !cut.empty();) {
        cut.pop_back();
        EXPECT_EQ(RowsOf(cut).substr(0, 3), "13 ") << cut.size();
    }
}
