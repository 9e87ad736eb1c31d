#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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

    LogFile empty;
    empty.Open(folder / "log/a.log");
    rename((folder / "log/a.log").c_str(), (folder / "log/b.log").c_str());
    WriteText(folder / "log/a.log", "");
    empty.Close(false);
    EXPECT_TRUE(File::Exists(folder / "log/a.log")) << "it is another run's";
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

TEST_F(LogTest, FollowsNoLinkOfAnotherUserAndTakesOnlyAPlainFile) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can make the links of another user";
    constexpr uid_t anotherUser = 65534;
    const std::string target = folder / "target";
    const struct {
        const char* trap;
        bool isTaken;
        std::function<void(const std::string& log)> make;
    } cases[] = {
        {"own link", true, [&](const std::string& log) { symlink(target.c_str(), log.c_str()); }},
        {"own link to a link", true,
         [&](const std::string& log) {
             symlink("../target", (folder / "log/second").c_str());
             symlink("second", log.c_str());
         }},
        {"link of another user", false,
         [&](const std::string& log) {
             symlink(target.c_str(), log.c_str());
             EXPECT_EQ(lchown(log.c_str(), anotherUser, anotherUser), 0);
         }},
        {"own link to itself", false, [](const std::string& log) { symlink(log.c_str(), log.c_str()); }},
        {"own link to a device", false, [](const std::string& log) { symlink("/dev/null", log.c_str()); }},
        {"hard link", false,
         [&](const std::string& log) {
             WriteText(target, "");
             EXPECT_EQ(link(target.c_str(), log.c_str()), 0);
         }},
        {"FIFO without a reader", false, [](const std::string& log) { mkfifo(log.c_str(), 0666); }},
        {"directory", false, [](const std::string& log) { Directory::Create(log); }}};
    for (const char* name : {"TAVO.log", "dbgerror.log"})
        for (const auto& c : cases) {
            SCOPED_TRACE(c.trap);
            std::filesystem::remove_all(folder / "log");
            std::filesystem::remove(target);
            Directory::Create(folder / "log");
            const std::string log = folder / "log/" + name;
            c.make(log);
            EXPECT_EQ(FailureOf(StartLogging), c.isTaken ? "" : "13 Can't open file '" + log + "'");
            LogMsg(LogType_Both, "line", false);
            StopLogging(true);
            const bool isWritten = c.isTaken && std::string(name) == "TAVO.log";
            EXPECT_EQ(ReadText(target), isWritten ? "line\n" : "");
        }
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
