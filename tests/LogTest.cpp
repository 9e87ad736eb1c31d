#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

#include "AppConfig.h"
#include "LogFile.h"
#include "Logging.h"
#include "Support.h"
#include "Tools.h"

namespace {

using FilePath = const std::string&;

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
    LogFile other;
    own.Open(standard);
    own.AddMessage("own", false);
    other.Open(standard);
    other.AddMessage("other", false);
    own.Close(false);
    EXPECT_EQ(ReadText(standard), "own\nother\n");  // the other's line follows: nothing is cut
    File::Delete(standard);
    other.AddMessage("other", false);
    EXPECT_EQ(ReadText(standard), "other\n");
    // who may only read the log holds nobody up, whoever may write it once only
    for (const int flags : {O_RDONLY, O_RDWR}) {
        const int rival = open(standard.c_str(), flags | O_CLOEXEC);
        struct flock lock {};
        lock.l_type = flags == O_RDONLY ? F_RDLCK : F_WRLCK;
        EXPECT_EQ(flock(rival, LOCK_EX | LOCK_NB) + fcntl(rival, F_OFD_SETLK, &lock), 0);
        EXPECT_EQ(IsLogLocked(standard), flags == O_RDWR);
        rusage before{};
        rusage behind{};
        getrusage(RUSAGE_THREAD, &before);
        for (int i = 0; i < 5; i++) other.AddMessage("late", false);
        getrusage(RUSAGE_THREAD, &behind);
        const long waits = behind.ru_nvcsw - before.ru_nvcsw;  // of a millisecond each
        EXPECT_EQ(waits > 150, flags == O_RDWR) << waits;
        EXPECT_LT(waits, 400) << "waits again and again";
        close(rival);
    }
    EXPECT_EQ(ReadText(standard).size(), std::string("other\n").size() + 10 * std::string("late\n").size());
    File::Delete(standard);
    Directory::Create(standard);  // the name is taken: the line is lost, the run goes on
    other.AddMessage("late", false);
    other.Close(true);
    own.Open(folder / "log/a.log");
    std::filesystem::rename(folder / "log/a.log", folder / "log/b.log");
    WriteText(folder / "log/a.log", "");
    own.Close(false);
    EXPECT_TRUE(File::Exists(folder / "log/a.log")) << "it is another run's";
}

TEST_F(LogTest, LetsTheGroupOfASharedFolderWriteItsLogs) {
    const mode_t mask = umask(077);
    for (const auto& [folderMode, logMode, newFolderMode] :
         {std::tuple(03775u, 0660u, 02775u), {0775u, 0600u, 0700u}}) {
        chmod((folder / "log").c_str(), folderMode);
        const std::string till = folder / "log/till";
        const auto modeOf = [](const std::string& path) {
            return static_cast<unsigned>(std::filesystem::status(path).permissions());
        };
        for (const std::string& path : {standard, till + "/TAVO.log"}) {
            LogFile log;
            log.Open(path);
            EXPECT_EQ(modeOf(path), logMode);
            log.Close(false);
        }
        EXPECT_EQ(modeOf(till), newFolderMode);
        std::filesystem::remove_all(till);
    }
    EXPECT_EQ(umask(mask), 077u) << "not given back";
}

TEST_F(LogTest, FollowsNoLinkOfAnotherUserAndTakesOnlyAPlainFile) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can make the links of another user";
    const std::string target = folder / "target";
    const auto toTarget = [&](FilePath log) { return symlink(target.c_str(), log.c_str()); };
    const std::tuple<const char*, bool, std::function<int(FilePath log)>> traps[] = {
        {"own link", true, toTarget},
        {"own link to a link", true,
         [&](FilePath log) { return toTarget(log + "2") + symlink((log + "2").c_str(), log.c_str()); }},
        {"relative link", true, [](FilePath log) { return symlink("../target", log.c_str()); }},
        {"link of another user", false,
         [&](FilePath log) { return toTarget(log) || lchown(log.c_str(), 65534, 65534); }},
        {"own link to itself", false, [](FilePath log) { return symlink(log.c_str(), log.c_str()); }},
        {"own link to a device", false, [](FilePath log) { return symlink("/dev/null", log.c_str()); }},
        {"hard link", false,
         [&](FilePath log) { return WriteText(target, ""), link(target.c_str(), log.c_str()); }},
        {"FIFO without a reader", false, [](FilePath log) { return mkfifo(log.c_str(), 0666); }},
        {"directory", false, [](FilePath log) { return mkdir(log.c_str(), 0777); }}};
    for (const auto& [trap, isTaken, make] : traps)
        for (const std::string& log : {standard, folder / "log/dbgerror.log"}) {
            SCOPED_TRACE(trap);
            std::filesystem::remove_all(folder / "log");
            std::filesystem::remove(target);
            Directory::Create(folder / "log");
            EXPECT_EQ(make(log), 0);
            EXPECT_EQ(FailureOf(StartLogging), isTaken ? "" : "13 Can't open file '" + log + "'");
            LogMsg(LogType_Both, "line", false);
            StopLogging(true);
            EXPECT_EQ(ReadText(target), isTaken && log == standard ? "line\n" : "");
        }
    AppConfig::SetParameter("LogFilePath", folder / "a/b", false);
    EXPECT_EQ(FailureOf(StartLogging).find("50 Log file directory create failed"), 0u);
}
