#include "CsvFile.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <random>

#include "AppConfig.h"
#include "FileErrors.h"
#include "FileIo.h"
#include "Programs.h"
#include "Support.h"

namespace {

class CsvFileTest : public testing::Test {
protected:
    void SetUp() override {
        AppConfig::Clear();
        FileErrors::Reset();
    }
    /** Opens the text as a file and returns what is printed about it, without the progress lines. */
    std::string Open(const std::string& text) {
        WriteText(path, text);
        std::string output = OutputOf([&] { reader.Open(path); });
        for (const std::string progress : {"Preparing data ...\r", "                  \r"}) {
            const size_t position = output.find(progress);
            EXPECT_NE(position, std::string::npos) << output;
            output.erase(position, progress.size());
        }
        return output;
    }
    /** The records in the reader's order, each with its line number, as "1:text|...". */
    std::string Records() {
        std::string text;
        char buffer[1024];
        for (int i = 0; const int length = reader.Read(i, buffer, sizeof buffer); i++)
            text +=
                std::to_string(reader.GetLineNumber(i)) + ":" + std::string(buffer, buffer + length) + "|";
        return text;
    }

    TempFolder folder;
    const std::string path = folder / "plu.csv";
    CsvFileReaderImpl reader;
};

}  // namespace

TEST_F(CsvFileTest, SortsByNumberAndKeepsAHeadingOnTop) {
    EXPECT_EQ(Open("\"No\",\"Name\"\r\n3,\"c\" \t\r\n10,\"j\"\n1,\"a\""), "");
    EXPECT_EQ(Records(), "1:\"No\",\"Name\"|4:1,\"a\"|2:3,\"c\"|3:10,\"j\"|");
    char buffer[1024];
    EXPECT_EQ(reader.Read(4, buffer, sizeof buffer), 0);
    EXPECT_EQ(reader.GetLineNumber(4), -1);
}

TEST_F(CsvFileTest, LeavesTheOrderWhereItCannotOrMustNotSort) {
    Open("3,1\n2,1\n\"text\",1\n2,1\n");
    EXPECT_EQ(Records(), "1:3,1|2:2,1|3:\"text\",1|4:2,1|");
    Open("3,1\n2\n1,1\n");  // a line of one number has no key
    EXPECT_EQ(Records(), "1:3,1|2:2|3:1,1|");
    AppConfig::SetParameter("SortInputFileLines", "0", false);
    EXPECT_EQ(Open("3,1\n1,1\n3,1\n"), "");
    EXPECT_EQ(Records(), "1:3,1|2:1,1|3:3,1|");
}

TEST_F(CsvFileTest, KeepsTheLastOfDuplicatesAndNamesTheSecondOfEachPair) {
    // sorted: the middle element is the pivot and equal keys change places, so line 1 is reported and line 3
    // sent
    EXPECT_EQ(Open("5,1\n1,1\n5,2\n"), "Line 1     - Record number is not unique   \n");
    EXPECT_EQ(Records(), "2:1,1|3:5,2|");
    FileErrors::Reset();
    EXPECT_EQ(Open("1,1\n1,2\n1,3\n2,1\n"),
              "Line 2     - Record number is not unique   \nLine 3     - Record number is not unique   \n");
    EXPECT_EQ(Records(), "3:1,3|4:2,1|");
    EXPECT_EQ(FileErrors::GetDuplicateRecordCount(), 2);
}

TEST_F(CsvFileTest, ReportsEmptyAndMalformedLines) {
    EXPECT_EQ(Open("\n \t\r\n1,1\nabc,2\n-1,3\n1x,4\n2,2\n"),
              "Line 1     - Record is empty               \nLine 2     - Record is empty               \n"
              "Line 4     - Record has bad format         \nLine 5     - Record has bad format         \n"
              "Line 6     - Record has bad format         \n");
    EXPECT_EQ(Records(), "3:1,1|7:2,2|");
    EXPECT_EQ(FileErrors::GetEmptyRecordCount(), 2);
    EXPECT_EQ(FileErrors::GetBadFormatRecordCount(), 3);
}

TEST_F(CsvFileTest, TakesALongLineAsSeveral) {
    const std::string longLine = "1,\"" + std::string(1497, 'x');  // 1500 characters
    EXPECT_EQ(Open(longLine + "\n2,2\n"), "Line 2     - Record has bad format         \n");
    EXPECT_EQ(Records(), "1:" + longLine.substr(0, 1023) + "|3:2,2|");
}

TEST_F(CsvFileTest, FindsLinesAcrossTheBlocksItReads) {
    std::string text;
    std::string expected;
    for (int i = 1; i <= 3000; i++) {
        const std::string line =
            std::to_string(i) + ",\"" + std::string(static_cast<size_t>(i % 97), 'x') + "\"";
        text += line + "\r\n";
        expected += std::to_string(i) + ":" + line + "|";
    }
    Open(text);
    EXPECT_EQ(Records(), expected);
}

/** The quicksort of the contract, written plainly: equal keys must come out in its order. */
void PlainSort(std::vector<std::pair<int, int>>& v, int first, int last) {
    const int pivot = v[static_cast<size_t>((first + last) / 2)].first;
    int i = first;
    int j = last;
    while (i <= j) {
        while (v[static_cast<size_t>(i)].first < pivot) i++;
        while (v[static_cast<size_t>(j)].first > pivot) j--;
        if (i <= j) std::swap(v[static_cast<size_t>(i++)], v[static_cast<size_t>(j--)]);
    }
    if (first < j) PlainSort(v, first, j);
    if (i < last) PlainSort(v, i, last);
}

TEST_F(CsvFileTest, OrdersEqualKeysAsTheContractSays) {
    std::mt19937 random(3);
    for (int round = 0; round < 50; round++) {
        std::vector<std::pair<int, int>> expected;
        std::string text;
        for (int line = 1; line <= 60; line++) {
            expected.emplace_back(1 + static_cast<int>(random() % 20), line);
            text += std::to_string(expected.back().first) + ",0\n";
        }
        WriteText(path, text);
        TextFileLineIndex index;
        OutputOf([&] { index.Build(path, nullptr, nullptr); });
        index.SortRange(0, 59);
        PlainSort(expected, 0, 59);
        for (int i = 0; i < 60; i++)
            EXPECT_EQ(index.At(i).lineNumber, expected[static_cast<size_t>(i)].second);
    }
}

TEST_F(CsvFileTest, IndexesAMillionLinesWithHalfAMillionDuplicatesInSeconds) {
    std::ofstream file(path);
    for (int i = 0; i < 1'000'000; i++) file << 1 + i * int64_t{7919} % 500'000 << ",1\n";
    file.close();
    TextFileLineIndex index;
    const auto start = std::chrono::steady_clock::now();
    OutputOf([&] { index.Build(path, nullptr, nullptr); });
    index.SortRange(0, index.GetCount() - 1);
    static int duplicates;
    duplicates = 0;
    index.RemoveDuplicates([](int) { duplicates++; });
    EXPECT_EQ(duplicates, 500'000);
    EXPECT_EQ(index.GetCount(), 500'000);
    EXPECT_TRUE(index.IsSorted());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(CsvFileTest, SortsTheWorstOrderWithLittleStack) {
    constexpr int count = 10'000;
    std::vector<int> keys{1};  // arranged so that each pivot, the middle one, is the largest key left
    for (int last = 1; last < count; last++) {
        keys.push_back(last + 1);
        std::swap(keys.back(), keys[static_cast<size_t>(last / 2)]);
    }
    std::ofstream file(path);
    for (const int key : keys) file << key << ",1\n";
    file.close();
    TextFileLineIndex index;
    OutputOf([&] { index.Build(path, nullptr, nullptr); });
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size_t{256} * 1024);
    const auto sort = [](void* sorted) -> void* {
        static_cast<TextFileLineIndex*>(sorted)->SortRange(0, count - 1);
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, sort, &index), 0);
    pthread_join(thread, nullptr);
    EXPECT_TRUE(index.IsSorted());
}

TEST_F(CsvFileTest, RefusesFilesItCannotReadWhole) {
    EXPECT_EQ(MessageOf([&] { reader.Open(folder / "none"); }),
              "Unable to open file '" + folder / "none" + "'");
    EXPECT_EQ(MessageOf([&] { reader.Open(folder.Path()); }), "File '" + folder.Path() + "' read error");
    std::ofstream(folder / "huge").seekp(int64_t{1} << 31).put('\n');
    const std::unique_ptr<Exception> e = Catch([&] { reader.Open(folder / "huge"); });
    EXPECT_EQ(e->GetReturnCode(), ReturnCode_FileIoError);
    EXPECT_EQ(e->GetLogMessage(), "File '" + folder / "huge" + "' is too large");
    TextFileLineIndex index;
    EXPECT_EQ(StatusOf([&] { index.At(0); }), ReturnCode_InternalError);
}

TEST_F(CsvFileTest, DetectsTheKindOfAFile) {
    const struct {
        const char* setting;
        const char* name;
        int section;
        FileType type;
    } cases[] = {{"", "a.csv", 3, FileType_CSV},       {"", "a.csv", 195, FileType_RAW},
                 {"", "a.csv", 202, FileType_RAW},     {"", "a.bin", 3, FileType_RAW},
                 {"", "a.Bmp", 3, FileType_BMP},       {"", "a.raw", 3, FileType_CSV},
                 {"", "noextension", 3, FileType_CSV}, {"raw", "a.csv", 3, FileType_RAW},
                 {"csv", "a.bmp", 195, FileType_CSV},  {"Bmp", "a", 3, FileType_BMP}};
    for (const auto& c : cases) {
        AppConfig::SetParameter("FileType", c.setting, false);
        EXPECT_EQ(DetectFileType(c.name, c.section), c.type) << c.name << " " << c.section;
    }
    AppConfig::SetParameter("FileType", "BIN", false);
    EXPECT_EQ(MessageOf([] { DetectFileType("a", 3); }), "Unsupported file type");
    EXPECT_NE(Catch([] { CreateFileReader(static_cast<FileType>(3)); }), nullptr);
}

TEST_F(CsvFileTest, ReadsRawRecordsInAnyOrder) {
    WriteText(path, std::string(130, 'a') + "");
    RawFileReader raw;
    raw.Open(path);
    char buffer[1024];
    for (const auto& [record, length] : {std::pair(2, 2), {0, 64}, {5, 0}, {1, 64}, {3, 0}})
        EXPECT_EQ(raw.Read(record, buffer, sizeof buffer), length) << record;
}

TEST_F(CsvFileTest, TellsOfEveryWriteThatFails) {
    CsvFileWriter writer;
    writer.Open("/dev/full");
    writer.Write("1", 1);  // still in the buffer
    EXPECT_EQ(MessageOf([&] { writer.Close(); }), "Unable to write file '/dev/full'");
    writer.Open("/dev/full");
    EXPECT_EQ(MessageOf([&] {
                  for (int i = 0; i < 2000; i++) writer.Write("12345678", 8);
              }),
              "Unable to write file '/dev/full'");
    writer.Open(path);
    writer.Write("1,2", 3);
    writer.Close();
    writer.Close();
    EXPECT_EQ(ReadText(path), "1,2\r\n");
}
