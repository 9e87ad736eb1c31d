#include "Files/CsvFile.h"

#include <gtest/gtest.h>

#include "AppConfig.h"
#include "FileIo.h"
#include "Regex.h"
#include "Support.h"
#include "System/Output.h"

namespace {

class CsvFileTest : public testing::Test {
protected:
    CsvFileTest() { AppConfig::Clear(); }

    /** What is told of the text's lines, then the records in the reader's order with their line numbers. */
    std::string Read(const std::string& text) {
        WriteText(path, text);
        CsvFileReaderImpl reader;
        HeldOutput held;
        reader.Open(path);
        const std::string output = held.Take();
        std::string result = ListMatches(output, R"(Line (\d+) +- Record (\w[^\n]*\w) *\n)", "$1 $2; ");
        char buffer[1024];
        for (int i = 0; const int length = reader.Read(i, buffer, sizeof buffer); i++)
            result +=
                std::to_string(reader.GetLineNumber(i)) + ":" + std::string(buffer, buffer + length) + "|";
        EXPECT_EQ(reader.GetLineNumber(1'000'000), -1);
        return result;
    }

    TempFolder folder;
    const std::string path = folder / "plu.csv";
};

}  // namespace

TEST_F(CsvFileTest, SortsReportsAndKeepsTheRightLines) {
    const std::string longLine = "1,\"" + std::string(1497, 'x');  // 1500 characters
    for (const auto& [text, records] :
         {std::pair<std::string, std::string>("\"No\",\"Name\"\r\n3,\"c\" \t\r\n10,\"j\"\n1,\"a\"",
                                              "1:\"No\",\"Name\"|4:1,\"a\"|2:3,\"c\"|3:10,\"j\"|"),
          {"3,1\n2,1\n\"text\",1\n2,1\n", "1:3,1|2:2,1|3:\"text\",1|4:2,1|"},
          {"3,1\n2\n1,1\n", "1:3,1|2:2|3:1,1|"},  // a line of one number has no key
          // The middle element is the pivot and equal keys change places. The second line of a pair is
          // reported, the last one of the file is sent.
          {"5,1\n1,1\n5,2\n", "1 number is not unique; 2:1,1|3:5,2|"},
          {"1,1\n1,2\n1,3\n2,1\n", "2 number is not unique; 3 number is not unique; 3:1,3|4:2,1|"},
          {"3,1\n1,2\n3,3\n2,4\n1,5\n3,6\n2,7\n1,8\n1,9\n2,10\n",
           "8 number is not unique; 9 number is not unique; 2 number is not unique; 10 number is not unique; "
           "4 "
           "number is not unique; 6 number is not unique; 3 number is not unique; "
           "9:1,9|10:2,10|6:3,6|"},
          // sorted, the heading stands among numbers below 0: it is no record, and nothing is dropped
          {"\"No\",1\n-5,1\n-5,2\n-3,3\n", "3:-5,2|2:-5,1|4:-3,3|1:\"No\",1|"},
          {"\n \t\r\n1,1\nabc,2\n-1,3\n1x,4\n2,2\n",
           "1 is empty; 2 is empty; 4 has bad format; 5 has bad format; 6 has bad format; 3:1,1|7:2,2|"},
          {longLine + "\n2,2\n", "2 has bad format; 1:" + longLine.substr(0, 1023) + "|3:2,2|"}})
        EXPECT_EQ(Read(text), records) << text;
    AppConfig::SetParameter("SortInputFileLines", "0", false);
    EXPECT_EQ(Read("3,1\n1,1\n3,1\n"), "1:3,1|2:1,1|3:3,1|");
}

TEST_F(CsvFileTest, FindsLinesAcrossTheBlocksItReads) {
    std::string text;
    std::string expected;
    for (size_t i = 1; i <= 3000; i++) {
        const std::string line = std::to_string(i) + ",\"" + std::string(i % 97, 'x') + "\"";
        text += line + "\r\n";
        expected += std::to_string(i) + ":" + line + "|";
    }
    EXPECT_EQ(Read(text), expected);
}

TEST_F(CsvFileTest, EveryKindOfFileReadsWhatItHasWritten) {
    const std::string records[] = {'"' + std::string(62, 'a') + '"', '"' + std::string(62, 'b') + '"'};
    for (size_t i = 0; i < fileTypeCount; i++) {
        const FileKind& kind = KindOf(static_cast<FileType>(i));
        const std::unique_ptr<FileWriter> writer = kind.createWriter();
        writer->Open(path);
        for (const std::string& record : records) {
            writer->Write(record.data(), 64);
            if (kind.hasLines) writer->Write("", 0);  // an empty line is not the end
        }
        writer->Close();
        const std::unique_ptr<FileReader> reader = kind.createReader();
        reader->Open(path);
        char buffer[1024];
        for (int k = 0; k < 2; k++)
            EXPECT_EQ(std::string(buffer, buffer + reader->Read(k, buffer, sizeof buffer)), records[k])
                << kind.setting;
        EXPECT_EQ(reader->Read(2, buffer, sizeof buffer), 0) << kind.setting;
    }
}

TEST_F(CsvFileTest, DetectsTheKindOfAFile) {
    EXPECT_EQ(DetectFileType("a.Bmp", 3), FileType_BMP);
    EXPECT_EQ(DetectFileType("a.csv", 202), FileType_RAW);
    AppConfig::SetParameter("FileType", "csv", false);
    EXPECT_EQ(DetectFileType("a.bin", 195), FileType_CSV);
}
