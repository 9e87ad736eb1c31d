#include "Tools.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "EcrComm/CommChannels/DataLogger.h"
#include "Format.h"
#include "Path.h"
#include "Support.h"
#include "Wrapper/LinuxFunctionWrapper.h"

TEST(ToolsTest, HandlesTextsAtTheirEdges) {
    for (const size_t length : {1023u, 1024u, 4000u})
        EXPECT_EQ(Format("%s%-3d", std::string(length, 'x').c_str(), 7), std::string(length, 'x') + "7  ");
    char buffer[] = "########";
    EXPECT_STREQ(strcpy_s(buffer, 4, "abcdef"), "abc");
    strncpy_s(buffer, 4, "123456", 6);
    EXPECT_EQ(std::string(buffer), "1234####");
    EXPECT_EQ(Trim("  ", " "), "");
    EXPECT_EQ(Trim("xabx", "x"), "ab");
    EXPECT_EQ(Align("12345", 3, ' '), "345");
    EXPECT_EQ(Align("7", 3, '0'), "007");
    EXPECT_EQ(
        FailureOf([] { Align("abc", -1, ' '); }).find("99 Internal error in file 'src/Tools.cpp' line "), 0u);
    const std::string items[] = {"a", "b"};
    EXPECT_EQ(Join(items, 2, ", "), "a, b");
    EXPECT_THROW(Join(items, 0, ","), std::out_of_range);
    EXPECT_EQ(Path::GetFileName("a\\b/c.csv"), "c.csv");
    EXPECT_EQ(Path::GetExtension("a.b/c"), "b/c");
    EXPECT_EQ(Path::Combine("\\etc", "/b"), "/etc//b");
}

TEST(ToolsTest, SleepsOnlyForLessThanASecond) {
    const auto start = std::chrono::steady_clock::now();
    Sleep(1000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    Sleep(3);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(ToolsTest, FormatsABlockOfTraffic) {
    const Bytes data = FromHex("01 02 00 41 42");
    EXPECT_EQ(DataLogger::FormatBlock(data.data(), 5, 0, 3'310'000, Direction_PcToEcr, ""),
              "PC->ECR  5 bytes in    3.3 ms : 01 02 00 41 42");
    EXPECT_EQ(
        DataLogger::FormatBlock(data.data(), 1, 0, 10'000'100'000, Direction_EcrToPc, " (ignored by STCP)"),
        "PC<-ECR  1 bytes in  10000 ms : (ignored by STCP) 01");
}
