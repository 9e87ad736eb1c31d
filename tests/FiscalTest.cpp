#include "EndToEnd.h"
#include "FiscalPrinter.h"

using FiscalTest = EndToEndTest;

TEST_F(FiscalTest, ExecutesTheFileInItsOrderAndTellsTheNewStatus) {
    Simulator ecr({"--trace", "--fiscal-wait", "2"});
    EXPECT_EQ(Tavo(ecr, {"ExecuteFiscal", File("a.csv", "99\n")}).output,
              preparing + "Commands sent: 0\rCommands sent: 1\rCommands sent: 1\n" + ok);
    File("a.bin",
         "10\n99,2,\"x\"\n11,\"Bread\",2,1.25\n11,\"Tea\",0.35,12.9\n99,1\n13,2,7\n"
         "11,\"Back\",-1,1.214\n11,\"Back\",-1,-1.214\n13,1,0.03\n19\n");
    EXPECT_EQ(Output(ecr, {"ExecuteFiscal", folder / "a.bin", "/SortInputFileLines=1", "/FileType=RAW"}),
              "Commands sent: 10\n" + ok);
    EXPECT_EQ(Tavo(ecr, {"ReadFiscalStatus", folder / "status.bin"}).output,
              "Reading ECR status...\r" + std::string(24, ' ') + "\r" + ok);
    EXPECT_EQ(ReadText(folder / "status.bin"), "1,\"receipt closed\",4,7.03,7.03\r\n");
    EXPECT_EQ(Tavo(ecr, {"readeftstatus", folder / "eft.csv"}).output,
              "Reading EFT status...\r" + std::string(24, ' ') + "\r" + ok);
    EXPECT_EQ(ReadText(folder / "eft.csv"), "\"terminal ready\",1,7,7\r\n");
    EXPECT_EQ(Output(ecr, {"executefiscal", File("a.csv", "10\n11,\"Tea\",1,2\n13,1,1.99\n19\n")}),
              "\nCommand failed or can not be executed in current context\n" + Failed(4));

    const std::string trace = ecr.Stop();
    size_t position = 0;
    for (const char* text : {"|                RECEIPT 1\n", "| (99) 2,\"x\"\n", "| Bread  2 x 1.25 ",
                             "answer: wait", "answer: ok", "4.52\n", "(99) 1\n", "TOTAL ", " 7.02\n"}) {
        position = trace.find(text, position);
        ASSERT_NE(position, std::string::npos) << text << " in\n" << trace;
    }
}

TEST_F(FiscalTest, TheSimulatorExecutesEachOfItsCommands) {
    Simulator ecr({"--trace"});
    std::string commands;
    for (const PrinterCommand& command : printerCommands)
        commands += std::to_string(command.code) + command.example + "\n";
    EXPECT_EQ(Tavo(ecr, {"executefiscal", File("a.csv", commands)}).status, 0);
    const std::string trace = ecr.Stop();
    for (const PrinterCommand& command : printerCommands)
        EXPECT_NE(trace.find(command.printed), std::string::npos) << command.meaning << " in\n" << trace;
}

TEST_F(FiscalTest, ExecutesNothingWhenALineIsBadButLeavesOutLinesThatAreNoRecords) {
    Simulator ecr({"--trace"});
    EXPECT_EQ(Output(ecr, {"executefiscal", File("a.csv", "10\n12,\"a\"\n\"text\",1\n12,0x0\n19\n")}),
              "Line 3     - Record has bad format         \n"
              "Line 4     - Record has bad format         \n"
              "\nInput file contains bad data\n" +
                  Failed(2));
    EXPECT_EQ(TakeLog().find("\n\nFound 2 bad format record(s)\nI/O statistics : OUT frames = 0"), 0U);
    EXPECT_EQ(Output(ecr, {"executefiscal", File("a.csv", "12,\"a\"\n\nabc\n12,\"b\"\n")}),
              "Line 2     - Record is empty               \n"
              "Line 3     - Record has bad format         \n"
              "Commands sent: 2\n" +
                  ok);
    EXPECT_EQ(ecr.Stop().find("command 10"), std::string::npos);
}

TEST_F(FiscalTest, SendsNothingAgainOnceTheRegisterMayHaveGivenUp) {
    const PseudoTerminal silent;
    EXPECT_EQ(Output({"executefiscal", File("a.csv", "19\n"), "/TTY=" + silent.Tty(), "/EcrPatienceTime=250",
                      "/SerialProtocolResponseMaxTime=100", "/RetryCount=3", "/Progress=0"}),
              "Commands sent: 0\n\nCommunication error: ECR is not responding\n" + Failed(5));
    const std::string frames = silent.Written();
    const auto count = std::count(frames.begin(), frames.end(), '\x03');
    EXPECT_TRUE(count >= 1 && count <= 3) << count << " of 30";
    EXPECT_NE(TakeLog().find("\n0 command(s) acknowledged by ECR, the next one sent, no further"),
              std::string::npos);
}

TEST_F(FiscalTest, MakesTheStatusFileBeforeItAsks) {
    const Simulator ecr({"--password", "x"});
    const std::string status = folder / "status.csv";
    EXPECT_EQ(Output(ecr, {"readfiscalstatus", status}), "\nBad or missing password\n" + Failed(11));
    EXPECT_EQ(Tavo(ecr, {"send", "3", status, "/Password=x"}).status, 0);  // it is there, and empty
    EXPECT_EQ(Output(ecr, {"readeftstatus", "/dev/full", "/Password=x"}),
              "Unable to write file '/dev/full'\n" + Failed(13));
}

TEST_F(FiscalTest, CarriesALogoAndKeepsItWhenItCannotBeWritten) {
    Simulator ecr({"--show-logo"});
    const std::string logo = SAMPLES "/logo.bmp";
    EXPECT_EQ(Tavo(ecr, {"send", "210", logo}).status, 0);
    EXPECT_EQ(Tavo(ecr, {"readandclear", "210", "/dev/full", "/FileType=BMP"}).status, 13);
    EXPECT_EQ(Tavo(ecr, {"readandclear", "210", folder / "back.bmp"}).status, 0);
    EXPECT_EQ(ReadText(folder / "back.bmp"), ReadText(logo));
    EXPECT_EQ(Output(ecr, {"send", "210", File("bad.bmp", "BM")}), "Wrong bitmap file format\n" + Failed(13));
    EXPECT_NE(ecr.Stop().find("▜████▛"), std::string::npos);
}
