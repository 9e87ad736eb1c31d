#include "Tools.h"

#include <gtest/gtest.h>

#include <chrono>

#include "EcrComm/CommChannels/DataLogger.h"
#include "Format.h"
#include "Path.h"
#include "Support.h"

TEST(ToolsTest, HandlesTextsAtTheirEdges) {
    for (const size_t length : {1023u, 1024u, 4000u})
        EXPECT_EQ(Format("%s%-3d", std::string(length, 'x').c_str(), 7), std::string(length, 'x') + "7  ");
    EXPECT_EQ(FailureOf([] { Align("a", -1, ' '); }).find("99 Internal error in file 'src/Tools.cpp' line "),
              0u);
    EXPECT_EQ(Path::GetExtension("a.b/c"), "b/c");
    EXPECT_EQ(Path::Combine("\\etc", "/b"), "/etc//b");
    const Bytes data = FromHex("01 41");
    EXPECT_EQ(DataLogger::FormatBlock(data.data(), 2, 0, 3'310'000, Direction_PcToEcr, ""),
              "PC->ECR  2 bytes in    3.3 ms : 01 41");
}

TEST(ToolsTest, SleepsOnlyForLessThanASecond) {
    const auto start = std::chrono::steady_clock::now();
    Sleep(1000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    Sleep(3);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}
