#include <gtest/gtest.h>

#include <regex>

#include "AppConfig.h"
#include "EcrComm/IoStatistics.h"
#include "FileErrors.h"
#include "LogFile.h"
#include "Logging.h"
#include "Programs.h"
#include "Support.h"
#include "Tools.h"

namespace {

class LogTest : public testing::Test {
protected:
    void SetUp() override {
        AppConfig::Clear();
        AppConfig::SetParameter("LogFilePath", folder / "log", false);
        AppConfig::SetParameter("StandardLog", "1", false);
        AppConfig::SetParameter("DbgErrorLog", "0", false);
        Directory::Create(folder / "log");
    }
    void TearDown() override { StopLogging(false); }

    TempFolder folder;
    const std::string standard = folder / "log/TAVO.log";
    const std::string debug = folder / "log/dbgerror.log";
};

}  // namespace

TEST_F(LogTest, WritesStampedLinesToTheStandardLogOnly) {
    StartLogging();
    LogMsg(LogType_Both, "\n", false);
    LogMsg(LogType_Standard, "message", true);
    LogMsg(LogType_Debug, "traffic", true);
    EXPECT_TRUE(std::regex_match(ReadText(standard),
                                 std::regex(R"(\n\n\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{3} message\n)")));
    EXPECT_EQ(ReadText(debug), "");
    StopLogging(true);
    EXPECT_FALSE(File::Exists(debug));
    LogMsg(LogType_Both, "late", true);
    EXPECT_EQ(ReadText(standard).find("late"), std::string::npos);
}

TEST_F(LogTest, TakesItsLinesBackAtLevelZero) {
    AppConfig::SetParameter("StandardLog", "0", false);
    StartLogging();
    LogMsg(LogType_Both, "one", true);
    StopLogging(true);
    EXPECT_FALSE(File::Exists(standard));

    WriteText(standard, "before\n");
    StartLogging();
    LogMsg(LogType_Both, "two", true);
    EXPECT_NE(ReadText(standard), "before\n");
    StopLogging(true);
    EXPECT_EQ(ReadText(standard), "before\n");
}

TEST_F(LogTest, NeverCutsOrLosesTheLinesOfAnotherRun) {
    LogFile own;
    own.Open(standard);
    own.AddMessage("own", false);
    LogFile other;
    other.Open(standard);
    other.AddMessage("other", false);
    own.Close(false);
    EXPECT_EQ(ReadText(standard), "own\nother\n");  // the other's line follows: nothing is cut
    other.Close(true);

    std::remove(standard.c_str());
    own.Open(standard);
    other.Open(standard);
    own.AddMessage("own", false);
    own.Close(false);
    EXPECT_FALSE(File::Exists(standard));
    other.AddMessage("other", false);
    EXPECT_EQ(ReadText(standard), "other\n");

    std::remove(standard.c_str());
    Directory::Create(standard);  // the name is taken: the line is lost, the run goes on
    other.AddMessage("late", false);
    other.AddMessage("later", false);
    other.Close(true);
}

TEST_F(LogTest, FailsOnTheFirstMessageWithoutAStandardLog) {
    AppConfig::SetParameter("StandardLog", "-1", false);
    StartLogging();
    EXPECT_EQ(StatusOf([] { LogMsg(LogType_Both, "x", true); }), ReturnCode_InternalError);
    LogMsg(LogType_Debug, "x", true);
}

TEST_F(LogTest, SaysWhyALogCannotBeOpened) {
    AppConfig::SetParameter("LogFilePath", folder / "a/b", false);
    EXPECT_NE(MessageOf(StartLogging).find("Log file directory create failed"), std::string::npos);
    EXPECT_FALSE(IsLoggingStarted());
    AppConfig::SetParameter("LogFilePath", folder.Path(), false);
    Directory::Create(folder / "TAVO.log");
    EXPECT_EQ(MessageOf(StartLogging), "Can't open file '" + folder / "TAVO.log" + "'");

    LogFile log;
    EXPECT_EQ(StatusOf([&] { log.AddMessage("x", true); }), ReturnCode_InternalError);
    log.Open(folder / "x.log");
    EXPECT_EQ(StatusOf([&] { log.Open(folder / "x.log"); }), ReturnCode_InternalError);
}

TEST_F(LogTest, ReportsRecordProblemsByLineAndSumsThemUp) {
    StartLogging();
    FileErrors::Reset();
    const std::string output = OutputOf([] {
        FileErrors::AddBadDataRecord(12, 0);
        FileErrors::AddBadDataRecord(123456, 4);
        FileErrors::AddCanNotUpdateRecord(3);
        FileErrors::AddBadFormatRecord(0);
    });
    EXPECT_EQ(output,
              "Line 12    - Some record fields have invalid values\n"
              "Line 123456 - Record field 4 has invalid value\n"
              "Line 3     - Record can not be updated     \n");
    FileErrors::Log();
    const std::string log = ReadText(standard);
    EXPECT_NE(log.find("Found 1 bad format record(s)\n"), std::string::npos);
    EXPECT_NE(log.find("3 record(s) rejected by ECR\n"), std::string::npos);
    EXPECT_EQ(log.find("duplicate"), std::string::npos);
}
