#include "BmpFile.h"

#include <gtest/gtest.h>

#include <random>

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
Bytes With(size_t offset, int64_t value, int size) {
    Bytes bytes = picture;
    for (int i = 0; i < size; i++)
        bytes.at(offset + static_cast<size_t>(i)) = static_cast<byte>(value >> 8 * i);
    return bytes;
}

class BmpFileTest : public testing::Test {
protected:
    /** The rows of a file of these bytes, "|" behind each. */
    std::string RowsOf(const Bytes& bytes) {
        WriteText(path, std::string(bytes.begin(), bytes.end()));
        return Rows();
    }
    std::string Rows() {
        reader.Open(path);
        std::string text;
        byte row[1024];
        for (int i = 0; const int length = reader.Read(i, reinterpret_cast<char*>(row), sizeof row); i++)
            text += ToHex(row, static_cast<size_t>(length)) + "|";
        return text;
    }
    static void Write(FileWriter& writer, const std::string& hex) {
        const Bytes row = FromHex(hex);
        writer.Write(reinterpret_cast<const char*>(row.data()), static_cast<int>(row.size()));
    }

    TempFolder folder;
    const std::string path = folder / "logo.bmp";
    BmpFileReader reader;
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
}

TEST_F(BmpFileTest, WritesThePictureByteForByte) {
    BmpFileWriter writer;
    writer.Open(path);
    for (const char* row : {"01 02 03", "80 00 FF", "00 00 10"}) Write(writer, row);
    writer.Close();
    const std::string text = ReadText(path);
    EXPECT_EQ(ToHex(Bytes(text.begin(), text.end())),
              "42 4D 4A 00 00 00 00 00 00 00 3E 00 00 00 "
              "28 00 00 00 18 00 00 00 03 00 00 00 01 00 01 00 00 00 00 00 "
              "0C 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "FF FF FF 00 00 00 00 00 "
              "00 00 08 00 01 00 FF 00 80 40 C0 00");
}

TEST_F(BmpFileTest, ReadsBackWhatItWroteForRandomSizes) {
    std::mt19937 random(5);
    for (int round = 0; round < 100; round++) {
        const size_t rowSize = 1 + random() % 128;
        std::string expected;
        BmpFileWriter writer;
        writer.Open(path);
        for (size_t rows = random() % 50; rows > 0; rows--) {
            Bytes row(rowSize);
            for (byte& b : row) b = static_cast<byte>(random());
            Write(writer, ToHex(row));
            expected += ToHex(row) + "|";
        }
        writer.Close();
        if (expected.empty())
            EXPECT_EQ(ReadText(path), "");  // no row, no bitmap
        else
            EXPECT_EQ(Rows(), expected);
    }
}

TEST_F(BmpFileTest, CutsRowsWiderThanTheRegisterTakes) {
    Bytes wide = With(18, 1200, 4);
    wide[22] = 1;
    wide.resize(62 + 152, 0xFF);
    EXPECT_EQ(RowsOf(wide).size(), 128u * 3);
}

TEST_F(BmpFileTest, RefusesWhatItDoesNotUnderstandAtOnce) {
    const std::string wrongFormat = "Wrong bitmap file format";
    const std::string readError = "File '" + path + "' read error";
    const struct {
        size_t offset;
        int64_t value;
        int size;
        std::string message;
    } cases[] = {{0, 0x4D41, 2, wrongFormat},
                 {26, 2, 2, wrongFormat},
                 {28, 4, 2, wrongFormat},
                 {30, 1, 4, wrongFormat},
                 {18, -1, 4, wrongFormat},
                 {22, -2, 4, wrongFormat},
                 {18, INT32_MAX, 4, readError},
                 {22, INT32_MAX, 4, readError},
                 {10, 0xFFFFFFFF, 4, readError},
                 {10, 63, 4, readError},
                 {22, 3, 4, readError},
                 {18, INT64_MAX, 8, wrongFormat},
                 {18, 0x7FFFFFFF7FFFFFFF, 8, readError}};
    for (const auto& c : cases)
        EXPECT_EQ(MessageOf([&] { RowsOf(With(c.offset, c.value, c.size)); }), c.message)
            << c.offset << " " << c.value;
    EXPECT_EQ(RowsOf(With(22, 0, 4)), "");
    EXPECT_EQ(RowsOf(With(18, 0, 4)), "");
    for (size_t length = 0; length < picture.size(); length++)
        EXPECT_EQ(
            StatusOf([&] { RowsOf(Bytes(picture.begin(), picture.begin() + static_cast<long>(length))); }),
            ReturnCode_FileIoError)
            << length;
    EXPECT_EQ(MessageOf([&] { reader.Open(folder / "none"); }),
              "Unable to open file '" + folder / "none" + "'");
}

TEST_F(BmpFileTest, KeepsTheRowsBeforeOneOfAnotherLength) {
    {
        BmpFileWriter writer;
        writer.Open(path);
        Write(writer, "01");
        EXPECT_NE(MessageOf([&] { Write(writer, "01 02"); }).find("Unconsequent line length"),
                  std::string::npos);
    }
    EXPECT_EQ(Rows(), "01|");
}

TEST_F(BmpFileTest, TellsOfAFullDisk) {
    BmpFileWriter writer;
    for (const int rows : {1, 1000}) {
        writer.Open("/dev/full");
        for (int i = 0; i < rows; i++) Write(writer, "01 02 03 04 05 06 07 08");
        EXPECT_EQ(MessageOf([&] { writer.Close(); }), "Unable to write file '/dev/full'");
    }
}
