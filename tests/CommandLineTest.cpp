#include "CommandLine.h"

#include <gtest/gtest.h>

#include "AppConfig.h"
#include "Ipc.h"
#include "Support.h"

namespace {

BaseCommandParameters Collect(std::vector<std::string> words) {
    words.insert(words.begin(), "tavo");
    words.push_back("/ConfigFilePath=/nonexistent");
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    return CollectParameters(static_cast<int>(argv.size()), argv.data());
}

}  // namespace

TEST(CommandLineTest, TakesTheArgumentsOfACommandAsTheyAre) {
    const struct {
        std::vector<std::string> words;
        Command command;
        int data;
        const char* file;
    } cases[] = {{{"Send", "", "/x=1"}, Command_Send, 0, "/x=1"},
                 {{"DELETE", "012", "-f"}, Command_Delete, 12, "-f"},
                 {{"clear", "99999999999"}, Command_Clear, INT32_MAX, ""}};
    for (const auto& c : cases) {
        const BaseCommandParameters params = Collect(c.words);
        EXPECT_EQ(params.command, c.command) << c.words[0];
        EXPECT_EQ(params.data, c.data) << c.words[0];
        EXPECT_EQ(params.filePath, c.file) << c.words[0];
    }
}

TEST(CommandLineTest, RefusesWhatIsNotComplete) {
    const struct {
        std::vector<std::string> words;
        const char* message;
    } cases[] = {{{"rea", "3", "x"}, "1 Unknown command"},
                 {{"read", "x1", "a.csv"}, "1 Unknown data type"},
                 {{"read", "-1", "a.csv"}, "1 Unknown data type"},
                 {{"clear", "3", "/ComNumber"}, "1 Bad command line parameter: /ComNumber"},
                 {{"clear", "3", "/=5"}, "1 Bad command line parameter: /=5"},
                 {{"clear", "3", "/ComNumber="}, "1 Bad command line parameter: /ComNumber="},
                 {{"clear", "3", "ComNumber=5"}, "1 Bad command line parameter: ComNumber=5"},
                 {{"clear", "3", ""}, "1 Bad command line parameter: "}};
    for (const auto& c : cases) EXPECT_EQ(FailureOf([&] { Collect(c.words); }), c.message);
}

TEST(CommandLineTest, KeepsTheLastOfRepeatedParametersAndEverythingBehindTheSeparator) {
    Collect({"clear", "3", "-ComNumber:ttyS1", "/A=b=c:d", "/A=e:f", "/TTY=ttyS0"});
    EXPECT_EQ(AppConfig::GetParameter("ComNumber", ""), "ttyS1");
    EXPECT_EQ(AppConfig::GetParameter("A", ""), "e:f");
    EXPECT_EQ(AppConfig::GetParameter("a", ""), "");
    CheckOtherTAVOInstances();
    EXPECT_EQ(Ipc::currentInstanceName, "Global\\ZEL.TAVO.ttyS0");
}
