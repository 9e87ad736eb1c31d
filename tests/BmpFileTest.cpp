#include "Files/BmpFile.h"

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
Bytes With(size_t offset, size_t size, int64_t value) {
    Bytes bytes = picture;
    for (size_t i = 0; i < size; i++) bytes.at(offset + i) = static_cast<byte>(value >> 8 * i);
    return bytes;
}

class BmpFileTest : public testing::Test {
protected:
    /** The rows of a file of these bytes with "|" behind each, or why it is refused. */
    std::string RowsOf(const Bytes& bytes) {
        WriteText(path, std::string(bytes.begin(), bytes.end()));
        std::vector<Bytes> rows;
        const std::string failure = ReadRows(path, rows);
        std::string text;
        for (const Bytes& row : rows) text += ToHex(row) + "|";
        return text + failure;
    }

    TempFolder folder;
    const std::string path = folder / "logo.bmp";
};

}  // namespace

TEST_F(BmpFileTest, ReadsRowsFromTheTopWithTheLeftmostPixelLowest) {
    EXPECT_EQ(RowsOf(picture), "FF FF|00 FC|");
    Bytes inverted = With(54, 4, 0);
    inverted[60] = 0xFF;  // red of entry 1: entry 0 is the darker one now, and the fill bits are 0
    EXPECT_EQ(RowsOf(inverted), "00 00|FF 03|");
    Bytes moved = With(10, 4, 70);
    moved.insert(moved.begin() + 62, 8, 0xAA);
    EXPECT_EQ(RowsOf(moved), "FF FF|00 FC|");
    Bytes wide = With(18, 4, 1200);
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
              ToHex(With(18, 1, 24)).substr(0, size_t{62} * 3) + "01 08 FF 00 80 40 C0 00");
}

TEST_F(BmpFileTest, RefusesWhatItDoesNotUnderstandAtOnce) {
    for (const Bytes& bytes : {With(0, 2, 0x4D41), With(26, 2, 2), With(28, 2, 4), With(30, 4, 1),
                               With(18, 4, -1), With(22, 4, -2)})
        EXPECT_EQ(RowsOf(bytes), "13 Wrong bitmap file format") << ToHex(bytes);
    for (const Bytes& bytes :
         {With(18, 8, 0x7FFFFFFF7FFFFFFF), With(10, 4, 0xFFFFFFFF), With(10, 4, 63), With(22, 4, 3)})
        EXPECT_EQ(RowsOf(bytes), "13 File '" + path + "' read error") << ToHex(bytes);
    Bytes noRows = With(22, 4, 0);
    EXPECT_EQ(RowsOf(noRows) + RowsOf(With(18, 4, 0)), "");
    noRows[10] = 0xFF;  // they are said to begin behind the end
    EXPECT_EQ(RowsOf(noRows), "");
    for (Bytes cut = picture; !cut.empty();) {
        cut.pop_back();
        EXPECT_EQ(RowsOf(cut).substr(0, 3), "13 ") << cut.size();
    }
}
