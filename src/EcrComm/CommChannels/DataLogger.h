#pragma once

#include <string>

#include "Byte.h"

enum Direction {
    Direction_PcToEcr = 0,
    Direction_EcrToPc = 1,
    Direction_ClientToServer = 2,
    Direction_ServerToClient = 3
};

/** The line's traffic as lines of the debug log. */
class DataLogger {
public:
    /** Whether blocks of no bytes are left out; they are not at start. */
    static void SetIgnoreEmptyData(bool ignoreEmptyData);

    /** Logs one block; times are values of the high-resolution timer, the comment stands before the bytes. */
    static void LogBlock(const byte* data, unsigned int size, const long long& startTime,
                         const long long& endTime, Direction direction, const std::string& comment);

    /** The line that LogBlock logs: "PC->ECR  5 bytes in    3.3 ms : 01 02 00 41 42". */
    static std::string FormatBlock(const byte* data, unsigned int size, long long startTime,
                                   long long endTime, Direction direction, const std::string& comment);

private:
    static bool m_ignoreEmptyData;
};

/** Logs the run's frame counters; losses and garbage only where there were any. */
void LogIoStatistics();
