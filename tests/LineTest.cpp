#include "AppConfig.h"
#include "Decoder.h"
#include "EndToEnd.h"
#include "Probe.h"
#include "Recording.h"

namespace {

/** tavo-line, the line itself. */
class LineTest : public EndToEndTest {
protected:
    RunResult Line(std::vector<std::string> words) const {
        words.insert(words.begin(), TAVO_LINE_PROGRAM);
        words.push_back("/ConfigFilePath=" + ini);
        return RunProgram(words);
    }
    /** The lines of a trace, without their times and what one side only knows. */
    static std::string Meanings(const std::string& trace) {
        return ReplaceAll(
            trace, R"((TTY=.*\n)|\d\d:\d\d:\d\d\.\d{3} |\n +\|[^\n]*|the other side has hung up\n)", "");
    }
};

/** A line whose answer depends on how it is set up. */
class FakeLine : public ProbedLine {
public:
    using Register = std::function<Bytes(const std::string& settings, LineErrors& errors)>;
    FakeLine(Register ecr, Bytes unasked) : m_ecr(std::move(ecr)), m_unasked(std::move(unasked)) {}
    void Apply(const LineSettings& settings) override { m_settings = ToComSettings(settings); }
    void Send(const Bytes& bytes) override {
        EXPECT_EQ(bytes, GetProbeFrame());
        m_sent = bytes;
    }
    Bytes Receive() override {
        if (std::exchange(m_sent, {}).empty()) return m_unasked;
        return m_ecr(m_settings.substr(5, m_settings.find(" data") - 5), m_errors);
    }
    std::optional<LineErrors> GetErrors() override { return m_errors; }

private:
    Register m_ecr;
    Bytes m_unasked;
    std::string m_settings;
    Bytes m_sent;
    LineErrors m_errors{5, 5, 5};  // counted before
};

std::string Probe(const FakeLine::Register& ecr, const char* configured, const Bytes& unasked = {}) {
    FakeLine line(ecr, unasked);
    std::string told;
    const auto results = ProbeLine(line, ParseLineSettings(configured), [&](const ProbeResult& result) {
        told += Describe(result).substr(0, Describe(result).find(" baud")) +
                GetParity(result.settings).letter + Describe(result).substr(Describe(result).find(": ")) +
                "\n";
    });
    return told + Advise(results, "I");
}

/** Of a device, as umockdev takes it. */
std::string MockPort(const std::string& folder, const char* driver, const std::string& tty,
                     const std::string& links, const std::string& attributes) {
    const size_t parent = folder.rfind('/');
    return "P: " + folder.substr(0, parent) + "\nE: DEVTYPE=usb_device\nE: SUBSYSTEM=usb\n" + attributes +
           "\nP: " + folder + "\nE: SUBSYSTEM=usb-serial\nE: DRIVER=" + driver +
           "\nL: driver=../../../bus/drivers/" + driver + "\n\nP: " + folder + "/tty/" + tty + "\nN: " + tty +
           "\nE: DEVNAME=/dev/" + tty + "\nE: SUBSYSTEM=tty\nE: DEVLINKS=" + links + "\nL: device=../../../" +
           folder.substr(parent + 1) + "\n" + (tty == "ttyS1" ? "A: type=0\\n\n" : "A: type=4\\n\n") + "\n";
}

}  // namespace

TEST(ProbeTest, TellsWithWhichSettingsTheRegisterAnswersAndWhatElseComes) {
    for (const FrameVersion& version : frameVersions) {
        byte seqNo = 0;
        EXPECT_TRUE(ParseFrame(version.number, GetProbeFrame(), seqNo).empty());
    }
    const auto at = [](const char* wanted) {
        return [wanted](const std::string& settings, LineErrors& errors) {
            if (settings == wanted) return Bytes{0x15};
            if (settings.substr(0, 5) != std::string(wanted).substr(0, 5)) return Bytes{};
            errors.parity++;
            return Bytes{0};
        };
    };
    const std::string known = Probe(at("38400 parity=o"), "");
    for (const char* told :
         {"38400o: NAK, the register answers\n38400e: bytes that are no answer: 00, 1 parity errors\n",
          "\n38400n: bytes that are no answer: 00, 1 parity errors\n",
          "errors\nThe register answers with the settings in use:\nComSettings = baud=38400 "
          "parity=o data=8 stop=1\n"})
        EXPECT_NE(known.find(told), std::string::npos) << known;
    const std::string searched = Probe(at("9600 parity=e"), "data=7 parity=N");
    EXPECT_EQ(searched.find("38400n: nothing\n"), 0U);
    EXPECT_NE(searched.find("\n4800o: nothing\n4800e: nothing\n"), std::string::npos);
    const std::string any = Probe(
        [](const std::string& settings, LineErrors& errors) {
            errors.framing += settings == "9600 parity=e" ? 0 : 1;
            return settings.substr(0, 4) == "9600" ? Bytes{0x15} : Bytes{0xFE, 1};
        },
        "parity=e stop=2");
    EXPECT_EQ(any.substr(0, any.find('\n')), "38400e: bytes that are no answer: fe 01, 1 framing errors");
    EXPECT_NE(any.find("9600n: NAK, the register answers, 2 framing errors\n"), std::string::npos) << any;
    EXPECT_NE(any.find("\nThe register answers with other"), std::string::npos) << any;
    EXPECT_NE(any.find("heading of I:\nComSettings = baud=9600 parity=e data=8 stop=2\nIt answers with odd "
                       "parity"),
              std::string::npos)
        << any;
    // a device that sends it by itself is no register
    EXPECT_EQ(Probe(at("38400 parity=o"), "", {0x15}).find("38400o: bytes that are no answer: 15 15 15\n"),
              0U);
    const auto echo = [](const std::string&, LineErrors&) { return GetProbeFrame(); };
    EXPECT_EQ(Probe(echo, ""),
              "38400o: the own bytes, an echo: 02 20 55 55 55 03\nThe line gives back what is sent: switch "
              "off the echo of the adapter, or remove the loop-back plug.\n");
    for (const auto& [bytes, advice] :
         {std::pair(Bytes{}, "Nothing answers: "), {Bytes{6}, "Something sends, but "}}) {
        const std::string told =
            Probe([answer = bytes](const std::string&, LineErrors&) { return answer; }, "");
        EXPECT_EQ(std::count(told.begin(), told.end(), '\n'),
                  std::size(lineSpeeds) * std::size(lineParities) + 1);
        EXPECT_NE(told.find(std::string("\n") + advice), std::string::npos) << told;
    }
}

TEST_F(LineTest, ProbesARealTerminalAndWritesSettingsThatTheToolTakes) {
    const Simulator ecr({"--com-settings", "baud=9600"});
    const std::string tty = "/TTY=" + ecr.Tty();
    const RunResult probed = Line({"probe", tty, "/SerialProtocolResponseMaxTime=100"});
    EXPECT_EQ(probed.status, 0) << probed.output;
    EXPECT_EQ(probed.output.find("Modem lines: not known, the device has none\n"), 0U) << probed.output;
    const size_t setting = probed.output.find("ComSettings = ");
    EXPECT_EQ(Tavo({"clear", "3", tty, "/SerialProtocolRetryCount=1"}).status, 5);
    ini = File("TAVO.ini", probed.output.substr(setting, probed.output.find('\n', setting) - setting));
    EXPECT_EQ(Tavo({"clear", "3", tty}).status, 0);
    EXPECT_EQ(Line({"probe"}).status, 10);
    EXPECT_EQ(Line({"probe", "/TTY=none"}).status, 50);
    EXPECT_EQ(Line({"probe", "--tap"}).status, 1);
    EXPECT_EQ(Line({"prob"}).status, 1);
}

TEST_F(LineTest, RestoresThePortWhenAProbeIsInterrupted) {
    const PseudoTerminal silent;
    const termios before = silent.Settings();
    Process probe({TAVO_LINE_PROGRAM, "probe", "/TTY=" + silent.Tty()});
    silent.TakeFrame();
    EXPECT_NE(silent.Settings().c_lflag, before.c_lflag);
    probe.Signal(SIGINT);
    EXPECT_EQ(probe.Finish().status, -SIGINT);
    EXPECT_EQ(silent.Settings().c_lflag, before.c_lflag);
}

TEST_F(LineTest, TapEndsInOrderByAnySignalAndIsHeldUpByNobody) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        const PseudoTerminal line;
        const termios before = line.Settings();
        Process tap({TAVO_LINE_PROGRAM, "tap", "--record", folder / "session.txt", "/TTY=" + line.Tty()});
        const int tool = open(("/dev/" + tap.ReadLine().substr(4)).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        // neither side reads, nor does anybody read the trace
        const std::string much(1 << 20, 'x');
        while (write(tool, much.data(), much.size()) > 0) continue;
        fcntl(line.GetMaster(), F_SETFL, O_NONBLOCK);
        while (write(line.GetMaster(), much.data(), much.size()) > 0) continue;
        tap.Signal(signal);
        EXPECT_EQ(tap.Finish().status, 0);
        EXPECT_EQ(line.Settings().c_lflag, before.c_lflag);
        close(tool);
    }
    WriteText(folder / "session.txt", "kept");
    EXPECT_EQ(Line({"tap", "--record", folder / "session.txt", "/TTY=none"}).status, 50);
    EXPECT_EQ(ReadText(folder / "session.txt"), "kept");
    EXPECT_EQ(Line({"list", "--show-passwords"}).status, 1);
}

TEST_F(LineTest, DecodesARequestInItsShortForm) {
    {
        Recording recording(folder / "session.txt", false);
        const Trace trace(TraceForm::None, &recording);
        Decoder decoder(trace);
        for (const byte value : BuildFrame(3, FromHex("0B 02 00 03 01"), 0)) decoder.ReceiveFromTool(value);
    }
    EXPECT_NE(ReadText(folder / "session.txt").find("<- frame v3 #0: request: read section 3"),
              std::string::npos);
}

TEST_F(LineTest, TapShowsWhatTheRegisterSeesAndItsRecordingReplays) {
    const std::string articles = File("a.csv", "1,\"a\"\n2,1,2,3\n3,\"c\",1.5\n");
    const std::string fiscal = File("f.csv", "11,\"Bread\",2,1.25\n12,\"x\"\n");
    for (const FrameVersion& row : frameVersions) {
        const std::string version = std::to_string(row.number);
        const std::string set = version == "2" ? "0" : "1";
        const auto session = [&](const std::string& tty, const char* password) {
            std::string outputs;
            for (std::vector<std::string> words : {std::vector<std::string>{"send", "3", articles},
                                                   {"read", "3", folder / "b.csv"},
                                                   {"executefiscal", fiscal},
                                                   {"readfiscalstatus", folder / "s.csv"},
                                                   {"clear", "7"}}) {
                words.insert(words.end(), {"/" + tty, std::string("/Password=") + password,
                                           "/ProtocolSet=" + set, "/SerialProtocolVersion=" + version});
                outputs += Output(words);
            }
            return outputs;
        };
        Simulator ecr({"--trace", "--password", "s3cret", "--frame-version", version, "--protocol-set", set,
                       "--reject", "2:3", "--reject", "1", "--refuse", "12=4", "--wait", "1"});
        Process tap({TAVO_LINE_PROGRAM, "tap", "--record", folder / "session.txt", "/TTY=" + ecr.Tty(),
                     "/ConfigFilePath=" + ini});
        const std::string outputs = session(tap.ReadLine(), "s3cret");
        tap.Signal(SIGTERM);
        const RunResult tapped = tap.Finish();
        EXPECT_EQ(tapped.status, 0);
        EXPECT_EQ(Meanings(tapped.output), Meanings(ecr.Stop()));
        EXPECT_EQ(ReadText(folder / "session.txt").find("73 33 63"), std::string::npos);
        const Simulator replay({"--replay", folder / "session.txt"});
        EXPECT_EQ(session("TTY=" + replay.Tty(), "any other"), outputs);
    }
}

TEST_F(LineTest, ListsPortsByNamesThatStayTheSame) {
    if (*EMULATOR != '\0') GTEST_SKIP() << "the library that makes the devices up is this machine's";
    const std::string id = "/dev/serial/by-id/usb-";
    const std::string path = "/dev/serial/by-path/pci-usb-0:";
    const auto usb = [](const std::string& maker, const std::string& product, const std::string& serial) {
        return "A: manufacturer=" + maker + "\\n\nA: product=" + product + "\\n\nA: serial=" + serial +
               "\\n\n";
    };
    const std::string devices = "/devices/pci0/usb1/1-";
    const std::string text =
        MockPort(devices + "1/ttyUSB0", "ftdi_sio", "ttyUSB0", path + "1 " + id + "FTDI_A10K",
                 usb("FTDI", "FT232R", "A10K")) +
        MockPort(devices + "2/ttyUSB1", "ch341-uart", "ttyUSB1", id + "1a86_USB " + path + "2",
                 "A: product=USB Serial\\n\n") +
        MockPort(devices + "3/ttyUSB2", "ch341-uart", "ttyUSB2", id + "1a86_USB " + path + "3",
                 "A: product=USB Serial\\n\n") +
        MockPort(devices + "4/ttyUSB3", "cp210x", "ttyUSB3", id + "CP_7", usb("Labs", "CP2102", "7")) +
        MockPort(devices + "5/ttyUSB4", "pl2303", "ttyUSB4", path + "5",
                 usb("Prolific", "Bridge\033[2J", "")) +
        MockPort(devices + "6/1-6:1.0", "cdc_acm", "ttyACM0", id + "ECR_1", usb("ZEL", "ECR", "1")) +
        MockPort("/devices/pnp0/00:05", "serial", "ttyS0", "/dev/char/4:64", "") +
        MockPort("/devices/platform/serial8250", "serial8250", "ttyS1", "", "") +
        "P: /devices/virtual/tty/tty1\nN: tty1\nE: DEVNAME=/dev/tty1\nE: SUBSYSTEM=tty\n";
    const RunResult listed =
        RunProgram({"/usr/bin/env", "ASAN_OPTIONS=verify_asan_link_order=0", "/usr/bin/umockdev-run", "-d",
                    File("t.umockdev", text), "--", TAVO_LINE_PROGRAM, "list"});
    EXPECT_EQ(ReplaceAll(listed.output, ", \\S+:\\S+ \\d+\n", "\n"),
              R"(serial/by-id/usb-CP_7  ttyUSB3, cp210x, Labs, CP2102, serial number 7
serial/by-id/usb-ECR_1  ttyACM0, cdc_acm, ZEL, ECR, serial number 1
serial/by-id/usb-FTDI_A10K  ttyUSB0, ftdi_sio, FTDI, FT232R, serial number A10K
serial/by-path/pci-usb-0:2  ttyUSB1, ch341-uart, USB Serial
serial/by-path/pci-usb-0:3  ttyUSB2, ch341-uart, USB Serial
serial/by-path/pci-usb-0:5  ttyUSB4, pl2303, Prolific, Bridge\x1b[2J
ttyS0  ttyS0, serial
)");
}
