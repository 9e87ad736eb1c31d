#include "AppConfig.h"
#include "Check.h"
#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "IniFile.h"
#include "Outcome/Hints.h"

/** tavo-check where it needs no file: settings, port and log, registers, statuses. */
class SetupTest : public CheckTest {};

TEST_F(SetupTest, TellsWithWhichStatusARunCouldNotStart) {
    const Simulator ecr;
    const PseudoTerminal held;
    AppConfig::Clear();
    AppConfig::SetParameter("TTY", held.Tty(), false);
    ComPort port;
    port.Open();
    std::filesystem::create_directories(folder / "folder/TAVO.log");
    const std::string tty = "/TTY=" + ecr.Tty();
    std::string holder = ReadText("/proc/self/comm");  // this program, or its emulator
    holder.pop_back();
    for (const auto& [words, status, said] :
         {std::tuple(std::vector<std::string>{tty}, 0,
                     std::string("this user may use it, nobody is seen to hold it")),
          {{}, 10, "status 10: no TTY is set"},
          {{"/TTY=none"}, 50, "status 50: there is no /dev/none"},
          {{"/TTY=null"}, 50, "status 50: /dev/null is no serial port"},
          {{"/TTY=" + held.Tty()}, 16, "is held by " + holder + ", process "},
          {{tty, "/ProtocolSet=7"}, 10, "/ProtocolSet: 7 is not from 0 to 1"},
          {{tty, "/LineQuietTime=-1"}, 0, "/LineQuietTime: -1 is not from 0 to 25599"},
          {{"/IpAddress=a"}, 99, "no network link"},
          {{"/IpAddress=a", "/ComNumber=b"}, 10, "Both serial port and ethernet"},
          {{tty, "/LogFilePath=" + File("file", "") + "/log"},
           50,
           "/file/log is not there and cannot be made"},
          {{tty, "/LogFilePath=" + File("file", "")}, 50, "/file is not there and cannot be made"},
          {{tty, "/LogFilePath=" + folder / "folder"}, 13, "TAVO.log is no plain file"},
          {{tty, "/ComSettings=baud=" + std::string(100'000, '9') + ",\033"}, 0, "ComSettings: '\\x1b' has"},
          {{tty, "/EcrPatienceTime=9000"},
           0,
           "for up to 10000 ms, but the register keeps a session for 9000"},
          {{tty, "/ResultFile=/none/a.json"}, 13, "ResultFile: the folder /none/ is not there"},
          {{tty, "/ResultFile=/dev/null"}, 13, "ResultFile: /dev/null is no plain file"},
          {{tty, "/StandardLog=-1"}, 99, "StandardLog = -1"},
          {{tty, "/ConfigFilePath=/tmp"}, 0, "INI file: /tmp (named"},
          {{tty, "bad"}, 1, "Bad command line parameter: bad"}}) {
        std::vector<std::string> run{TAVO_PROGRAM, "clear", "3", "/ConfigFilePath=" + ini,
                                     "/LogFilePath=" + folder / "log"};
        run.insert(run.end(), words.begin(), words.end());
        EXPECT_EQ(RunProgram(run).status, status) << said;
        run.erase(run.begin(), run.begin() + 3);
        run.insert(run.begin(), {TAVO_CHECK_PROGRAM, "--setup"});
        const RunResult checked = RunProgram(run);
        EXPECT_EQ(checked.status, status) << checked.output;
        EXPECT_NE(checked.output.find(said), std::string::npos) << said << " not in\n" << checked.output;
    }
}

TEST_F(SetupTest, NamesTheSourceOfEachSettingAndWhatIsWrongInTheIniFile) {
    ini = File("TAVO.ini",
               "ComSettings=baud=9600\n[Common]\nDelimeter = ;\nretrycount=three\nComSettings=baud=4800\n"
               "Password=se#cret ; of all\n# no=comment\n[ECR Till1]\nTTY=x\n[Notes for "
               "all]\nFoo=1\nTTY=ttyS0\nRetryCount=1\n[ECR_Till2]\n"
               "TTY = pts/999 ; the till\nProtocolSet=9\nEcrOperationMaxTime=30000\nRetryCount=\n"
               "EcrCommMaxTime=25000\nprotocolset=1\n[ECR_Bar\n");
    const std::string shown = Check({"--setup", "/ecr=B", "/DefaultECR=C", "/WithTC=1"}).output;
    EXPECT_EQ(
        Matches(shown,
                "(warning|Section|Registers): [^\n]*|  (Password|TTY|ComSettings|RetryCount|WithTC) [^\n]*"),
        R"(Registers: Till2
Section: [ECR_Till2] (the only one)
  TTY                            pts/999 ; the till   [ECR_Till2]
  ComSettings                    baud=9600            top of the INI file
  Password                       ...                  [Common]
  RetryCount                     three                [Common]
  WithTC                         1                    command line
warning: /DefaultECR has an effect only in [Common]
warning: /ecr: no such setting, /ECR?
warning: line 3: Delimeter: no such setting, Delimiter?
warning: line 4: RetryCount: 'three' is no number: it counts as 0
warning: line 5: ComSettings has an effect only above the first section heading of the INI file
warning: line 6: Password: there are no comments, the whole value is ...
warning: line 8: [ECR Till1]: nothing selects this section, [ECR_Till1]?
warning: line 9: TTY has no effect in [ECR Till1], which nothing reads
warning: line 12: TTY has no effect in [Notes for all], which nothing reads
warning: line 15: TTY: there are no comments, the whole value is 'pts/999 ; the till'
warning: line 16: ProtocolSet: 9 is not from 0 to 1
warning: line 17: EcrOperationMaxTime: of 30000 ms only 4400 are waited, as the port counts up to 25.5 s and begins again at 0
warning: line 21: '[ECR_Bar' is no heading: a bracket is missing
warning: line 16: protocolset has no effect: line 20 has it again
)");
    EXPECT_EQ(shown.find("secret"), std::string::npos);
    ini = File("a.ini", "\xEF\xBB\xBFTop\r\n[Common]\r\n[ECR_A]\r\n[ECR_a]\r\n\x1A\r\n[ECR_B]");
    EXPECT_EQ(Matches(Check({"--setup", "/ECR=C"}).output, "warning: .{28}"),
              "warning: line 1: the file begins with\nwarning: line 5: a Ctrl-Z (1a) ends t\n"
              "warning: the INI file has no section \n");
    ini = File("c.ini",
               "ComSettings=Baud=9600,parity=n\n[Common]\nFileType=TXT\nRetryCount=99999999999\n TTY: "
               "x\nECR=A\n[ECR_A]\n");
    const std::string odd = Check({"--setup"}).output;
    EXPECT_EQ(Matches(odd, "(warning: line|Section:)([^\n]*CSV, |[^\n]*)"),
              "Section: [ECR_] (an ECR in the INI file selects the section without a name)\n"
              "warning: line 1: ComSettings: 'Baud=9600' has no effect; the line is set up as baud=38400 "
              "parity=n data=8 stop=1\n"
              "warning: line 3: FileType: 'TXT' is none of CSV, \n"
              "warning: line 4: RetryCount: 99999999999 is too large: it counts as 2147483647\n"
              "warning: line 5: 'TTY: x' has no equals sign, and no effect\n"
              "warning: line 6: ECR has an effect only on the command line\n");
    ini = File("b.ini", "[ECR_A]\n[ECR_A]\n");
    EXPECT_EQ(Matches(Check({"--setup"}).output, "warning: .{28}"),
              "warning: the section of A is not used\n");
    ini = File("nul.ini", std::string("A\n\0", 3));
    EXPECT_NE(Check({"--setup"}).output.find("line 2: a NUL byte makes"), std::string::npos);
    const std::string json = Check({"--setup", "--json"}).output;
    WriteText(folder / "a.json", json);
    EXPECT_EQ(RunProgram({"/usr/bin/jq", ".status", folder / "a.json"}).output, "10\n");
}

TEST_F(SetupTest, TellsWhatKeepsTheIniFileFromBeingRead) {
    ini = folder / "missing.ini";
    EXPECT_EQ(Check({"--registers"}).output, "tavo-check: there is no " + ini + "\n");
    EXPECT_EQ(Check({"--registers"}).status, 10);
    EXPECT_NE(Check({"3", File("a.csv", "1,2\n")}).output.find("warning: there is no " + ini),
              std::string::npos);
    if (geteuid() != 0) GTEST_SKIP() << "root alone can be another user for a moment";
    ini = File("secret.ini", "[Common]\nTTY=a\n");
    EXPECT_EQ(chmod((folder / "").c_str(), 0755) + chown(ini.c_str(), 0, 20) + chmod(ini.c_str(), 0640), 0);
    IniFile::SetFile(ini, false);
    EXPECT_EQ(GetIniFileHint(), "");
    EXPECT_EQ(setresuid(65534, 65534, 0), 0);
    const std::string hint = GetIniFileHint();
    EXPECT_EQ(setresuid(0, 0, 0), 0);
    EXPECT_EQ(hint, "this user may not read " + ini +
                        ", root:dialout 640; sudo usermod -aG dialout $USER, then log in again");
}

TEST_F(SetupTest, TellsAScriptTheRegistersAndWhatAStatusAsksFor) {
    ini = File("TAVO.ini", "[Common]\nTTY=a\n[ECR_B]\n[ecr_A]\n[ECR_b]\n[ECR C]\n");
    EXPECT_EQ(Check({"--registers"}).output, "B\nA\n");
    ini = File("names.ini", "[ECR_a\tb]\n[ECR_ .A\\]\n[ECR_\x1b[1m]\n[ECR_]\n[ECR_c]\n");
    const RunResult listed = Check({"--registers"});
    const std::string tells = "] (tavo-check --setup tells the line)\n";
    EXPECT_EQ(listed.output, "tavo-check: left out: [ECR_a\\x09b" + tells +
                                 " .A\\\ntavo-check: left out: [ECR_\\x1b[1m" + tells +
                                 "tavo-check: left out: [ECR_" + tells + "c\n");
    EXPECT_EQ(listed.status, 10) << "not all of them are there";
    EXPECT_EQ(Matches(Check({"--setup"}).output, "warning: line .*"),
              "warning: line 1: [ECR_a\\x09b]: a control character stands in this name\n"
              "warning: line 3: [ECR_\\x1b[1m]: a control character stands in this name\n"
              "warning: line 4: [ECR_]: the register has no name\n");
    std::string names;
    for (const char* name : {"", "default", "Till-4.b", "-a", ".b", "a/b", "a_b", "a%2Fb", "\\\n\xC4\x80 "})
        names += RunProgram({TAVO_CHECK_PROGRAM, "--file-name", name}).output;
    EXPECT_EQ(names, "default\n%64efault\nTill-4.b\n%2Da\n%2Eb\na%2Fb\na_b\na%252Fb\n%5C%0A%C4%80%20\n");
    const char* classes[][2] = {{"ok", "0"},          {"retry", "5 16 3"},
                                {"fix-file", "2 14"}, {"fix-setup", "1 10 11 13 15 50"},
                                {"register", "4 12"}, {"report", "99 134 139"},
                                {"retry", "130 137"}};
    for (const auto& [name, statuses] : classes) {
        std::istringstream words(statuses);
        for (std::string status; words >> status;)
            EXPECT_EQ(RunProgram({TAVO_CHECK_PROGRAM, "--status", status, "--class"}).output,
                      name + std::string("\n"));
    }
    EXPECT_EQ(
        RunProgram({TAVO_CHECK_PROGRAM, "--status", "16"}).output,
        "16 EcrPortLocked (retry)\nanother run is working with the register\nWhat to do: try again later\n");
    for (const char* status : {"7", "x", "", "99999999999", "-1", "128", "193"})
        EXPECT_EQ(RunProgram({TAVO_CHECK_PROGRAM, "--status", status}).status, 1);
}
