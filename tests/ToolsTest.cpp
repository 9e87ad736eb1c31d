#include "Tools.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

#include "EcrComm/CommChannels/DataLogger.h"
#include "Format.h"
#include "Path.h"
#include "Support.h"
#include "Wrapper/LinuxFunctionWrapper.h"

TEST(ToolsTest, FormatsTextOfAnyLength) {
    const std::string text(4000, 'x');
    EXPECT_EQ(Format("<%s>", text.c_str()), "<" + text + ">");
    EXPECT_EQ(Format("%-5d|", 7), "7    |");
    EXPECT_EQ(Format("%s", std::string(1023, 'a').c_str()).size(), 1023u);
    EXPECT_EQ(Format("%s", std::string(1024, 'a').c_str()).size(), 1024u);
}

TEST(ToolsTest, NeverWritesPastTheGivenSize) {
    char buffer[] = "########";
    EXPECT_STREQ(strcpy_s(buffer, 4, "abcdef"), "abc");
    EXPECT_EQ(buffer[4], '#');
    EXPECT_EQ(strcpy_s(buffer, 0, "x"), nullptr);
    strncpy_s(buffer, 4, "123456", 6);
    EXPECT_EQ(std::string(buffer, 8), "1234####");
    strncpy_s(buffer, 8, "z", 3);
    EXPECT_EQ(std::string(buffer, 8), std::string("z\0\0004####", 8));
}

TEST(ToolsTest, HandlesTextsAtTheirEdges) {
    EXPECT_EQ(Trim("  ", " "), "");
    EXPECT_EQ(Trim("xabx", "x"), "ab");
    EXPECT_EQ(Align("12345", 3, ' '), "345");
    EXPECT_EQ(Align("7", 3, '0'), "007");
    EXPECT_EQ(Align("", 0, ' '), "");
    EXPECT_NE(MessageOf([] { Align("abc", -1, ' '); }).find("'src/Tools.cpp'"), std::string::npos);
    const std::string items[] = {"a", "b"};
    EXPECT_EQ(Join(items, 2, ", "), "a, b");
    EXPECT_EQ(Join(items, 0, ""), "");
    EXPECT_THROW(Join(items, 0, ","), std::out_of_range);
    EXPECT_EQ(ToUpper("abc\xe4"), "ABC\xe4");
    EXPECT_EQ(ToInt("99999999999999999999"), INT32_MAX);
}

TEST(ToolsTest, TakesPathsApart) {
    EXPECT_EQ(Path::GetExtension("a.b/c"), "b/c");
    EXPECT_EQ(Path::GetExtension("abc"), "");
    EXPECT_EQ(Path::GetFileName("a\\b/c.csv"), "c.csv");
    EXPECT_EQ(Path::GetDirectoryName("file.csv"), "");
    EXPECT_EQ(Path::GetDirectoryName("a\\file.csv"), "a\\");
    EXPECT_EQ(Path::Combine("", "x"), "x");
    EXPECT_EQ(Path::Combine("/etc/", "a\\b"), "/etc/a/b");
    EXPECT_EQ(Path::Combine("\\etc", "/b"), "/etc//b");
}

TEST(ToolsTest, SleepsOnlyForLessThanASecond) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    Sleep(100);
    Sleep(1000);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
    Sleep(3);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
}

TEST(ToolsTest, BuildsTheTextsOfFailures) {
    errno = 2;
    const SystemException system("readlink() failed");
    EXPECT_EQ(system.GetLogMessage(), "readlink() failed (system error code : 2)");
    EXPECT_EQ(system.GetDisplayMessage(), "System error: readlink() failed");
    EXPECT_EQ(InternalException("src/A.cpp", 312).GetLogMessage(),
              "Internal error in file 'src/A.cpp' line 312");
    EXPECT_EQ(CommunicationException("x").GetDisplayMessage(), "\nCommunication error: x");
    EXPECT_EQ(UnknownCommandException("x").GetDisplayMessage(), "\nUnknown command error: x");
    EXPECT_EQ(UnknownCommandException("x").GetReturnCode(), ReturnCode_CommandFailed);
    EXPECT_EQ(ApplicationException("x", ReturnCode_EcrPortLocked).GetDisplayMessage(), "\nx");
    EXPECT_EQ(NetworkSystemException("x", 5).GetLogMessage(), "x (error code : 5)");
    EXPECT_EQ(NetworkCommException("x").GetLogMessage(), "x (error code : 0)");
}

TEST(ToolsTest, FormatsABlockOfTraffic) {
    const Bytes data = FromHex("01 02 00 41 42");
    EXPECT_EQ(DataLogger::FormatBlock(data.data(), 5, 0, 3'310'000, Direction_PcToEcr, ""),
              "PC->ECR  5 bytes in    3.3 ms : 01 02 00 41 42");
    EXPECT_EQ(
        DataLogger::FormatBlock(data.data(), 1, 0, 10'000'100'000, Direction_EcrToPc, " (ignored by STCP)"),
        "PC<-ECR  1 bytes in  10000 ms : (ignored by STCP) 01");
    EXPECT_EQ(DataLogger::FormatBlock(data.data(), 0, 0, 10'000'000'000, Direction_ServerToClient, ""),
              "SRV->CL  0 bytes in 10000.0 ms :");
}
