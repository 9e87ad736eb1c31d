#include "EcrComm/CommChannels/Linux/ComPort.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "AppConfig.h"
#include "Support.h"

namespace {

using Clock = std::chrono::steady_clock;

class ComPortTest : public testing::Test {
protected:
    void SetUp() override {
        AppConfig::Clear();
        AppConfig::SetParameter("ConfigFilePath", "/nonexistent", false);
        AppConfig::Initialize();
        master = posix_openpt(O_RDWR | O_NOCTTY);
        grantpt(master);
        unlockpt(master);
        AppConfig::SetParameter("TTY", std::string(ptsname(master)).substr(5), false);
    }
    void TearDown() override { close(master); }

    termios Settings() const {
        termios settings{};
        tcgetattr(master, &settings);
        return settings;
    }
    void Send(const std::string& text) const {
        EXPECT_EQ(write(master, text.data(), text.size()), ssize_t(text.size()));
    }
    static std::string FailureOf(const std::string& tty) {
        AppConfig::SetParameter("TTY", tty, false);
        return DisplayOf([] { ComPort().Open(); });
    }
    static long MsOf(const std::function<void()>& action) {
        const auto start = Clock::now();
        action();
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    }

    int master = -1;
    ComPort port;
    byte buffer[64] = {};
};

}  // namespace

TEST_F(ComPortTest, SetsTheLineUpAndRestoresItWhenClosed) {
    const termios before = Settings();
    port.Open();
    const termios now = Settings();
    EXPECT_EQ(cfgetospeed(&now), speed_t(B38400));
    // a pseudo-terminal keeps CS8 without parity whatever is asked
    const tcflag_t expected = CRTSCTS | CLOCAL | HUPCL | CREAD | CS8;
    EXPECT_EQ(now.c_cflag & expected, expected);
    EXPECT_EQ(now.c_iflag, tcflag_t(INPCK));
    EXPECT_EQ(now.c_oflag | now.c_lflag, 0u);
    port.Close();
    port.Close();
    EXPECT_EQ(Settings().c_lflag, before.c_lflag);
    EXPECT_EQ(Settings().c_oflag, before.c_oflag);
}

TEST_F(ComPortTest, TakesComSettingsOnlyFromAboveTheFirstHeading) {
    const TempFolder folder;
    WriteText(folder / "a.ini", "ComSettings = baud=115200 stop=2\n[Common]\nComSettings = baud=4800\n");
    AppConfig::SetParameter("ConfigFilePath", folder / "a.ini", false);
    AppConfig::Initialize();
    port.Open();
    const termios now = Settings();
    EXPECT_EQ(cfgetispeed(&now), speed_t(B115200));
    EXPECT_NE(now.c_cflag & CSTOPB, 0u);
}

TEST_F(ComPortTest, RefusesLineSettingsOutOfTheList) {
    for (const char* settings : {"baud=2400", "data=6", "stop=0", "parity=x", "8N1 baud=115201"})
        EXPECT_EQ(DisplayOf([&] { port.ComPort_Setup(settings); }),
                  "System error: Bad serial port setup parameters")
            << settings;
    for (const char* settings :
         {"", "baud=115200", "xparity=Nbaud=9600", "parity=E data=7", "baud=abc", "dtr=x"})
        EXPECT_EQ(Catch([&] { port.ComPort_Setup(settings); }), nullptr) << settings;
}

TEST_F(ComPortTest, SaysWhyAPortCannotBeOpened) {
    EXPECT_EQ(FailureOf(""), "Configuration error: Bad or missing tty name");
    EXPECT_EQ(FailureOf("nonexistent"), "System error: Unable to open serial port");
    EXPECT_EQ(FailureOf("null"),
              "System error: Cannot read serial port settings. Please ensure that correct TTY specified");
}

TEST_F(ComPortTest, CountsTimeoutsInWholeTenthsOfASecondThatWrap) {
    port.Open();
    const struct {
        unsigned set;
        unsigned got;
    } cases[] = {{1050, 1000}, {99, 0}, {25599, 25500}, {25600, 0}, {25700, 100}};
    for (const auto& c : cases) {
        unsigned got = 0;
        port.SetReadTimeout(c.set);
        port.GetReadTimeout(got);
        EXPECT_EQ(got, c.got);
    }
    port.SetReadTimeout(50);
    EXPECT_LT(MsOf([&] { EXPECT_FALSE(port.Read(buffer, 1)); }), 50);
    port.SetReadTimeout(250);
    const long waited = MsOf([&] { EXPECT_FALSE(port.Read(buffer, 1)); });
    EXPECT_GE(waited, 200);
    EXPECT_LT(waited, 250);
}

TEST_F(ComPortTest, WaitsWithoutLimitAfterTheFirstByte) {
    port.Open();
    port.SetReadTimeout(100);
    Send("a");
    std::thread late([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        Send("b");
    });
    EXPECT_TRUE(port.Read(buffer, 2));
    late.join();
    unsigned timeoutMs = 0;
    port.GetReadTimeout(timeoutMs);
    EXPECT_EQ(timeoutMs, 100u);
}

TEST_F(ComPortTest, StopsAtTheEndByteAndKeepsWhatFollows) {
    port.Open();
    port.SetReadTimeout(100);
    Send(
        "ab\x03"
        "cd");
    EXPECT_EQ(port.ReadUnknownSize(buffer, sizeof buffer, 3), 3u);
    EXPECT_TRUE(port.Read(buffer, 1));
    EXPECT_EQ(buffer[0], 'c');
    EXPECT_TRUE(port.Read(buffer, 1));
    EXPECT_FALSE(port.Read(buffer, 1));
}

TEST_F(ComPortTest, FailsWhenTheLineIsGone) {
    port.Open();
    close(master);
    port.SetReadTimeout(1000);
    EXPECT_LT(MsOf([&] { EXPECT_FALSE(port.Read(buffer, 1)); }), 500);
    EXPECT_NE(MessageOf([&] { port.Write(buffer, 1); }).find("Serial port write error"), std::string::npos);
    EXPECT_NE(MessageOf([&] { port.Read(nullptr, 1); }).find("src/EcrComm/CommChannels/Linux/ComPort.cpp"),
              std::string::npos);
    EXPECT_EQ(StatusOf([&] { port.WriteDirect(buffer, 0); }), ReturnCode_InternalError);
    master = -1;
}

TEST_F(ComPortTest, LeavesTheDeviceOpenWhenFreedThroughTheInterface) {
    AppConfig::SetParameter("SkipInstanceChecking", "1", false);
    ChannelOwner owner = ComPort::Create();
    owner->Open();
    owner.reset();
    pollfd terminal{master, POLLIN, 0};
    poll(&terminal, 1, 0);
    EXPECT_EQ(terminal.revents & POLLHUP, 0);
    {
        ComPort other;
        other.Open();
    }
    poll(&terminal, 1, 0);
    EXPECT_EQ(terminal.revents & POLLHUP, 0);
}

TEST_F(ComPortTest, OpensADeviceThatAKilledRunLeftSetUp) {
    AppConfig::SetParameter("SkipInstanceChecking", "1", false);
    ComPort::Create()->Open();  // freed without being closed, as by SIGKILL
    EXPECT_EQ(MessageOf([&] { port.Open(); }), "");
}
