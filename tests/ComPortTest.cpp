#include "EcrComm/CommChannels/Linux/ComPort.h"

#include <gtest/gtest.h>

#include <chrono>

#include "AppConfig.h"
#include "Programs.h"

namespace {

class ComPortTest : public testing::Test {
protected:
    ComPortTest() {
        AppConfig::Clear();
        AppConfig::SetParameter("ConfigFilePath", folder / "a.ini", false);
        AppConfig::Initialize();
        AppConfig::SetParameter("TTY", terminal.Tty(), false);
    }
    static long MsOf(const std::function<void()>& action) {
        const auto start = std::chrono::steady_clock::now();
        action();
        return (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
    }

    TempFolder folder;
    PseudoTerminal terminal;
    ComPort port;
    byte buffer[64] = {};
};

}  // namespace

TEST_F(ComPortTest, SetsTheLineUpAndRestoresItWhenClosed) {
    const termios before = terminal.Settings();
    port.Open();
    termios now = terminal.Settings();
    EXPECT_EQ(cfgetospeed(&now), speed_t(B38400));
    // a pseudo-terminal keeps CS8 without parity whatever is asked
    const tcflag_t expected = CRTSCTS | CLOCAL | HUPCL | CREAD | CS8;
    EXPECT_EQ(now.c_cflag & (expected | CSTOPB), expected);
    EXPECT_EQ(now.c_iflag, tcflag_t(INPCK));
    EXPECT_EQ(now.c_oflag | now.c_lflag, 0u);
    port.Close();
    port.Close();
    EXPECT_EQ(terminal.Settings().c_lflag, before.c_lflag);
    EXPECT_EQ(terminal.Settings().c_oflag, before.c_oflag);
    // only a key above the first heading is taken
    WriteText(folder / "a.ini", "ComSettings = baud=115200 stop=2\n[Common]\nComSettings = baud=4800\n");
    port.Open();
    now = terminal.Settings();
    EXPECT_EQ(cfgetispeed(&now), speed_t(B115200));
    EXPECT_NE(now.c_cflag & CSTOPB, 0u);
}

TEST_F(ComPortTest, RefusesLineSettingsOutOfTheList) {
    const auto fail = [&](const char* settings) { return FailureOf([&] { port.ComPort_Setup(settings); }); };
    for (const char* settings : {"baud=2400", "data=6", "stop=0", "parity=x", "8N1 baud=115201"})
        EXPECT_EQ(fail(settings).find("50 Bad serial port setup parameters"), 0u) << settings;
    for (const char* settings : {"", "xparity=Nbaud=9600", "parity=E data=7", "baud=abc", "dtr=x"})
        EXPECT_EQ(fail(settings), "") << settings;
}

TEST_F(ComPortTest, CountsTimeoutsInWholeTenthsOfASecondThatWrap) {
    port.Open();
    for (const auto& [set, expected] : {std::pair(1050u, 1000u), {99, 0}, {25599, 25500}, {25700, 100}}) {
        unsigned got = 0;
        port.SetReadTimeout(set);
        port.GetReadTimeout(got);
        EXPECT_EQ(got, expected);
    }
    port.SetReadTimeout(50);
    EXPECT_LT(MsOf([&] { EXPECT_FALSE(port.Read(buffer, 1)); }), 50);
    port.SetReadTimeout(250);
    const long waited = MsOf([&] { EXPECT_FALSE(port.Read(buffer, 1)); });
    EXPECT_TRUE(waited >= 200 && waited < 250) << waited;
}

TEST_F(ComPortTest, WaitsWithoutLimitAfterTheFirstByteAndStopsAtTheEndByte) {
    port.Open();
    port.SetReadTimeout(100);
    terminal.Send("a");
    std::thread late([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        terminal.Send("b\nd");
    });
    EXPECT_EQ(port.ReadUnknownSize(buffer, sizeof buffer, '\n'), 3u);
    late.join();
    EXPECT_TRUE(port.Read(buffer, 1));
    EXPECT_EQ(buffer[0], 'd');
    EXPECT_FALSE(port.Read(buffer, 1));
}

TEST_F(ComPortTest, FailsAtOnceWhenTheLineIsGone) {
    port.Open();
    terminal.HangUp();
    port.SetReadTimeout(1000);
    EXPECT_LT(MsOf([&] {
                  EXPECT_EQ(FailureOf([&] { port.Read(buffer, 1); }).find("50 Serial port read error"), 0u);
              }),
              500);
    EXPECT_EQ(FailureOf([&] { port.Write(buffer, 1); }).find("50 Serial port write error"), 0u);
    EXPECT_EQ(FailureOf([&] { port.Read(nullptr, 1); }).substr(0, 2), "99");
    EXPECT_EQ(FailureOf([&] { port.WriteDirect(buffer, 0); }).substr(0, 2), "99");
}

TEST_F(ComPortTest, LeavesTheDeviceOpenWhenFreedThroughTheInterfaceAndOpensItAgain) {
    ComPort::Create()->Open();  // freed without being closed, as by SIGKILL
    EXPECT_EQ(FailureOf([&] { port.Open(); }).substr(0, 2), "16");  // it is locked, so it is open
    AppConfig::SetParameter("SkipInstanceChecking", "1", false);
    EXPECT_EQ(FailureOf([&] { port.Open(); }), "");  // set up just so already
}
