#include "EcrComm/CommChannels/Linux/ComPort.h"

#include <map>

#include "AppConfig.h"
#include "Programs.h"
#include "Tools.h"

namespace {

class ComPortTest : public testing::Test {
protected:
    ComPortTest() {
        AppConfig::Clear();
        AppConfig::SetParameter("ConfigFilePath", folder / "a.ini", false);
        AppConfig::Initialize();
        AppConfig::SetParameter("TTY", terminal.Tty(), false);
    }
    static long long MsOf(const std::function<void()>& action) {
        const auto start = std::chrono::steady_clock::now();
        action();
        return (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
    }
    /** Whether the action ends within the time in one of many tries: a busy machine makes some longer. */
    static bool CanEndWithin(long long ms, const std::function<void()>& action) {
        for (int i = 0; i < 50; i++)
            if (MsOf(action) < ms) return true;
        return false;
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
    EXPECT_EQ(terminal.Settings().c_lflag, before.c_lflag);
    for (const LineSpeed& row : lineSpeeds) {
        // only a key above the first heading is taken
        WriteText(folder / "a.ini",
                  Format("ComSettings=stop=2 baud=%ld\n[Common]\nComSettings=stop=1\n", row.baud));
        port.Open();
        now = terminal.Settings();
        EXPECT_TRUE(cfgetispeed(&now) == cfgetospeed(&now) && (now.c_cflag & CSTOPB) != 0);
        // as another program tells it, which has a table of its own
        EXPECT_EQ(Process({"/bin/stty", "-F", "/dev/" + terminal.Tty(), "speed"}).Finish().output,
                  std::to_string(row.baud) + "\n");
        port.Close();
    }
    // a pseudo-terminal does not carry it: what the tool asks of the system
    const std::map<std::string, tcflag_t> flags{{"no parity", 0},
                                                {"even parity", PARENB},
                                                {"odd parity", PARENB | PARODD},
                                                {"space parity", PARENB | CMSPAR},
                                                {"mark parity", PARENB | PARODD | CMSPAR}};
    for (const LineParity& row : lineParities)
        EXPECT_EQ(MakeTermios({38400, 8, 1, row.letter}).c_cflag & (PARENB | PARODD | CMSPAR),
                  flags.at(row.name));
    for (const char* bad : {"baud=2400", "data=6", "stop=0", "parity=x", "8N1 baud=115201"})
        EXPECT_EQ(FailureOf([&] { port.ComPort_Setup(bad); }).find("50 Bad serial port setup parameters"),
                  0u);
    for (const char* good : {"", "xparity=Nbaud=9600", "parity=E data=7", "baud=abc", "dtr=x"})
        EXPECT_EQ(FailureOf([&] { port.ComPort_Setup(good); }), "");
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
    const auto readNothing = [&] { EXPECT_FALSE(port.Read(buffer, 1)); };
    EXPECT_TRUE(CanEndWithin(50, readNothing));
    port.SetReadTimeout(250);
    EXPECT_GE(MsOf(readNothing), 200);
    EXPECT_TRUE(CanEndWithin(250, readNothing));
    // a second and more is no pause, though 32 bits of nanoseconds would make one of this
    EXPECT_TRUE(CanEndWithin(500, [] { Sleep(515); }));
    EXPECT_GE(MsOf([] { Sleep(3); }), 30);
}

TEST_F(ComPortTest, WaitsWithoutLimitAfterTheFirstByteAndStopsAtTheEndByte) {
    port.Open();
    port.SetReadTimeout(100);
    terminal.Send("61");
    std::thread late([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        terminal.Send("62 0A 64");
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
    port.SetReadTimeout(25'000);
    std::string failure;
    EXPECT_LT(MsOf([&] { failure = FailureOf([&] { port.Read(buffer, 1); }); }), 20'000);
    EXPECT_EQ(failure.find("50 Serial port read error"), 0u) << failure;
    EXPECT_EQ(FailureOf([&] { port.Write(buffer, 1); }).find("50 Serial port write error"), 0u);
}

TEST_F(ComPortTest, LeavesTheDeviceOpenWhenFreedThroughTheInterfaceAndOpensItAgain) {
    ComPort::Create()->Open();  // freed without being closed, as by SIGKILL
    EXPECT_EQ(FailureOf([&] { port.Open(); }).substr(0, 2), "16");  // it is locked, so it is open
    // nobody else is shut out for as long as the other side lives; root never is
    const uid_t user = geteuid();
    const std::string path = "/dev/" + terminal.Tty();
    EXPECT_EQ(user == 0 ? chown(path.c_str(), 65534, 0) + seteuid(65534) : 0, 0);
    const Descriptor another(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
    EXPECT_EQ(seteuid(user), 0);
    EXPECT_TRUE(another.IsOpen());
    AppConfig::SetParameter("SkipInstanceChecking", "1", false);
    EXPECT_EQ(FailureOf([&] { port.Open(); }), "");  // set up just so already
}

TEST_F(ComPortTest, KnowsWhetherAnybodyHasWrittenToTheDeviceLately) {
    port.Open();
    EXPECT_TRUE(port.WasUsedWithin(20));  // it has just been made
    const timespec longAgo[] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
    const auto forget = [&] { return utimensat(AT_FDCWD, ("/dev/" + terminal.Tty()).c_str(), longAgo, 0); };
    EXPECT_EQ(forget(), 0);
    EXPECT_FALSE(port.WasUsedWithin(20));
    port.Close();  // a run that has waited for long ends here
    port.Open();
    EXPECT_TRUE(port.WasUsedWithin(20));
    EXPECT_EQ(forget(), 0);
    const Process writer({"/bin/sh", "-c", "printf x > /dev/" + terminal.Tty()});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!port.WasUsedWithin(20) && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_TRUE(port.WasUsedWithin(20));
}
