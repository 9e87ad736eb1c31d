// What others who may write a folder, or read a file, can do to a run that works there.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

#include "Files/TargetFile.h"
#include "Recording.h"
#include "Support.h"
#include "System/AtomicFile.h"

namespace {

class SharedFolderTest : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "only root can make the files of another user";
        umask(022);
    }
    void Plant(const std::string& name, uid_t owner, mode_t mode) const {
        WriteText(folder / name, "planted");
        EXPECT_EQ(lchown((folder / name).c_str(), owner, owner) + chmod((folder / name).c_str(), mode), 0);
    }
    mode_t ModeOf(const std::string& name) const {
        struct stat status {};
        return lstat((folder / name).c_str(), &status) == 0 ? status.st_mode : 0;
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder / ""))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    static constexpr uid_t stranger = 65534;
    TempFolder folder;
};

}  // namespace

TEST_F(SharedFolderTest, TakesOverNoRightsThatSomebodyHasPlanted) {
    for (const auto& [owner, mode, expected] : {std::tuple(stranger, 06777u, 0644u),
                                                {stranger, 0600u, 0644u},
                                                {0u, 06750u, 0750u},
                                                {0u, 0600u, 0600u}}) {
        SCOPED_TRACE(Format("owner %u, mode %o", owner, mode));
        Plant("result", owner, mode);
        ReplaceFile(folder / "result", "text");
        EXPECT_EQ(ModeOf("result"), S_IFREG | expected);
        Plant("report", owner, mode);
        Plant("report~", stranger, 06777);
        TargetFile report;
        report.KeepFormerContent();
        report.Open(folder / "report");
        EXPECT_EQ(ModeOf("report~"), S_IFREG | (expected & mode)) << "it has what was in the report";
    }
    Plant("target", 0, 0666);
    EXPECT_EQ(symlink("target", (folder / "link").c_str()), 0);
    ReplaceFile(folder / "link", "text");
    EXPECT_EQ(ModeOf("link"), S_IFREG | 0644u);
    EXPECT_EQ(ReadText(folder / "target"), "planted");
}

TEST_F(SharedFolderTest, NobodyWhoOnlyReadsAReportKeepsARunFromIt) {
    Plant("report", 0, 0664);
    const int reader = open((folder / "report").c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(flock(reader, LOCK_EX | LOCK_NB), 0);
    {
        TargetFile report;
        report.Open(folder / "report");
        const std::string lock = Names()[0];
        EXPECT_EQ(ModeOf(lock), S_IFREG | 0660u) << "those who may write the report may wait for it";
        EXPECT_EQ(symlink("report", (folder / "another name").c_str()), 0);
        TargetFile rival;
        EXPECT_EQ(FailureOf([&] { rival.Open(folder / "another name"); }).substr(0, 2), "13");
    }
    EXPECT_EQ(Names(), (std::vector<std::string>{"another name", "report"}));
    // where nothing can be made beside it, it is locked itself, which the others see
    EXPECT_EQ(chown((folder / "").c_str(), stranger, stranger) + chmod((folder / "report").c_str(), 0666), 0);
    EXPECT_EQ(chmod((folder / "").c_str(), 0555) + seteuid(12345), 0);
    TargetFile report;
    EXPECT_EQ(FailureOf([&] { report.Open(folder / "report"); }), "");
    EXPECT_EQ(seteuid(0), 0);
    TargetFile rival;
    EXPECT_EQ(FailureOf([&] { rival.Open(folder / "report"); }).substr(0, 2), "13");
    // a second name may be in another folder
    const TempFolder other;
    Plant("named", 0, 0644);
    std::filesystem::create_hard_link(folder / "named", other / "named");
    TargetFile named;
    named.Open(folder / "named");
    TargetFile again;
    EXPECT_EQ(FailureOf([&] { again.Open(other / "named"); }).substr(0, 2), "13");
    close(reader);
}

TEST_F(SharedFolderTest, RemovesWhatItsKilledRunsHaveLeftAndNothingElse) {
    const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(25);
    for (const char* name : {".tavo~left", ".tavo~locked", ".tavo~stranger", ".tavo-left"}) {
        Plant(name, std::string(name) == ".tavo~stranger" ? stranger : 0, 0600);
        std::filesystem::last_write_time(folder / name, old);
    }
    Plant(".tavo~young", 0, 0600);
    const int lock = open((folder / ".tavo~locked").c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    ReplaceFile(folder / "result", "text");
    EXPECT_EQ(Names(), (std::vector<std::string>{".tavo-left", ".tavo~locked", ".tavo~stranger",
                                                 ".tavo~young", "result"}));
    close(lock);
}

TEST_F(SharedFolderTest, KeepsARecordingToItself) {
    Plant("own", 0, 0666);
    const Recording overwritten(folder / "own", true);
    const Recording made(folder / "new", true);
    EXPECT_EQ(ModeOf("own"), S_IFREG | 0600u);
    EXPECT_EQ(ModeOf("new"), S_IFREG | 0600u);
    Plant("planted", stranger, 0666);
    EXPECT_EQ(FailureOf([&] { Recording(folder / "planted", true); }).substr(0, 2), "13");
    EXPECT_EQ(ReadText(folder / "planted"), "planted");
}
