#include <gtest/gtest.h>
#include <sys/stat.h>

#include "AppConfig.h"
#include "LogFile.h"
#include "Logging.h"
#include "Support.h"
#include "Tools.h"

namespace {

class LogTest : public testing::Test {
protected:
    LogTest() {
        AppConfig::Clear();
        AppConfig::SetParameter("StandardLog", "1", false);
        AppConfig::SetParameter("LogFilePath", folder / "log", false);
        Directory::Create(folder / "log");
    }
    ~LogTest() override { StopLogging(false); }

    TempFolder folder;
    const std::string standard = folder / "log/TAVO.log";
};

}  // namespace

TEST_F(LogTest, WritesTheStandardLogOnlyAndTakesItsLinesBackAtLevelZero) {
    const auto run = [] {
        StartLogging();
        LogMsg(LogType_Both, "\n", false);
        LogMsg(LogType_Debug, "traffic", true);
        StopLogging(true);
        LogMsg(LogType_Both, "late", true);
    };
    run();
    EXPECT_EQ(ReadText(standard), "\n\n");
    EXPECT_FALSE(File::Exists(folder / "log/dbgerror.log"));
    AppConfig::SetParameter("StandardLog", "0", false);
    run();
    EXPECT_EQ(ReadText(standard), "\n\n");
    File::Delete(standard);
    run();
    EXPECT_FALSE(File::Exists(standard));
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

    File::Delete(standard);
    other.AddMessage("other", false);
    EXPECT_EQ(ReadText(standard), "other\n");
    File::Delete(standard);
    Directory::Create(standard);  // the name is taken: the line is lost, the run goes on
    other.AddMessage("late", false);
    other.Close(true);
}

TEST_F(LogTest, LetsTheGroupOfASharedFolderWriteItsLogs) {
    const mode_t mask = umask(077);
    for (const auto& [folderMode, logMode] : {std::pair(02775u, 0660u), {0775u, 0600u}}) {
        chmod((folder / "log").c_str(), folderMode);
        LogFile log;
        log.Open(standard);
        struct stat status {};
        stat(standard.c_str(), &status);
        EXPECT_EQ(status.st_mode & 0777, logMode);
        log.Close(false);
    }
    EXPECT_EQ(umask(mask), 077u) << "not given back";
}

TEST_F(LogTest, SaysWhyALogCannotBeOpened) {
    AppConfig::SetParameter("LogFilePath", folder / "a/b", false);
    EXPECT_EQ(FailureOf(StartLogging).find("50 Log file directory create failed"), 0u);
    AppConfig::SetParameter("LogFilePath", folder / "", false);
    Directory::Create(folder / "TAVO.log");
    EXPECT_EQ(FailureOf(StartLogging), "13 Can't open file '" + folder / "TAVO.log" + "'");
    LogFile log;
    log.Open(folder / "x.log");
    EXPECT_EQ(FailureOf([&] { log.Open(folder / "x.log"); }).substr(0, 2), "99");
}
