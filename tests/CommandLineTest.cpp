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
    argv.reserve(words.size());
    for (std::string& word : words) argv.push_back(word.data());
    return CollectParameters(static_cast<int>(argv.size()), argv.data());
}

}  // namespace

TEST(CommandLineTest, TakesEveryCommandWithItsArguments) {
    const struct {
        std::vector<std::string> words;
        Command command;
        int data;
        const char* file;
    } cases[] = {{{"read", "3", "plu.csv"}, Command_Read, 3, "plu.csv"},
                 {{"Send", "", "/x=1"}, Command_Send, 0, "/x=1"},
                 {{"DELETE", "012", "-f"}, Command_Delete, 12, "-f"},
                 {{"clear", "99999999999"}, Command_Clear, INT32_MAX, ""},
                 {{"init", "3"}, Command_Init, 3, ""},
                 {{"ReadAndClear", "3", "a"}, Command_ReadAndClear, 3, "a"},
                 {{"ClearAndSend", "3", "a"}, Command_ClearAndSend, 3, "a"},
                 {{"executefiscal", "r.txt"}, Command_ExecuteFiscal, 0, "r.txt"},
                 {{"readfiscalstatus", "s"}, Command_ReadFiscalStatus, 0, "s"},
                 {{"readeftstatus", "s"}, Command_ReadEftStatus, 0, "s"},
                 {{"runserver"}, Command_RunServer, 0, ""},
                 {{"executeserver", "1"}, Command_ExecuteServer, 1, ""}};
    for (const auto& c : cases) {
        const BaseCommandParameters params = Collect(c.words);
        EXPECT_EQ(params.command, c.command) << c.words[0];
        EXPECT_EQ(params.data, c.data) << c.words[0];
        EXPECT_EQ(params.filePath, c.file) << c.words[0];
        EXPECT_EQ(params.isFiscalCommand,
                  c.command >= Command_ExecuteFiscal && c.command <= Command_ReadEftStatus);
    }
}

TEST(CommandLineTest, RefusesWhatIsNotComplete) {
    const struct {
        std::vector<std::string> words;
        const char* message;
    } cases[] = {{{"/HELP"}, "Unknown command"},
                 {{"rea", "3", "x"}, "Unknown command"},
                 {{"read", "x1", "a.csv"}, "Unknown data type"},
                 {{"read", "-1", "a.csv"}, "Unknown data type"},
                 {{"clear", "3", "/ComNumber"}, "Bad command line parameter: /ComNumber"},
                 {{"clear", "3", "/=5"}, "Bad command line parameter: /=5"},
                 {{"clear", "3", "/ComNumber="}, "Bad command line parameter: /ComNumber="},
                 {{"clear", "3", "ComNumber=5"}, "Bad command line parameter: ComNumber=5"},
                 {{"clear", "3", ""}, "Bad command line parameter: "}};
    for (const auto& c : cases) {
        const std::unique_ptr<Exception> e = Catch([&] { Collect(c.words); });
        ASSERT_NE(e, nullptr) << c.message;
        EXPECT_EQ(e->GetDisplayMessage(), std::string(c.message) + " (use /? for help)");
        EXPECT_EQ(e->GetLogMessage(), c.message);
        EXPECT_EQ(e->GetReturnCode(), ReturnCode_CmdLineError);
    }
}

TEST(CommandLineTest, KeepsTheLastOfRepeatedParametersAndEverythingBehindTheSeparator) {
    Collect({"clear", "3", "-ComNumber:ttyS1", "/A=b=c:d", "/A=e:f", "/Delimiter=;"});
    EXPECT_EQ(AppConfig::GetParameter("ComNumber", ""), "ttyS1");
    EXPECT_EQ(AppConfig::GetParameter("A", ""), "e:f");
    EXPECT_EQ(AppConfig::GetParameter("a", ""), "");
    EXPECT_EQ(AppConfig::GetParameter("Delimiter", ""), ";");
}

TEST(CommandLineTest, NamesTheInstanceAfterTheDevice) {
    Collect({"clear", "3"});
    CheckOtherTAVOInstances();
    EXPECT_EQ(Ipc::currentInstanceName, "Global\\ZEL.TAVO");
    Collect({"clear", "3", "/TTY=ttyS0", "/SkipInstanceChecking=1"});
    CheckOtherTAVOInstances();
    EXPECT_EQ(Ipc::currentInstanceName, "Global\\ZEL.TAVO");
    Collect({"clear", "3", "/TTY=ttyS0"});
    CheckOtherTAVOInstances();
    EXPECT_EQ(Ipc::currentInstanceName, "Global\\ZEL.TAVO.ttyS0");
}
