#include "EcrComm/CommChannels/DataLogger.h"

#include "EcrComm/CommChannels/Linux/HighResolutionTimer.h"
#include "EcrComm/IoStatistics.h"
#include "Format.h"
#include "Logging.h"

namespace {

const char* Label(Direction direction) {
    switch (direction) {
        case Direction_PcToEcr: return "PC->ECR";
        case Direction_EcrToPc: return "PC<-ECR";
        case Direction_ClientToServer: return "SRV<-CL";
        case Direction_ServerToClient: return "SRV->CL";
    }
    return "";
}

std::string Duration(long long startTime, long long endTime) {
    if (!highResolutionTimer.Supported()) return std::string(13, ' ') + ":";
    const double ms = highResolutionTimer.GetIntervalMs(startTime, endTime);
    return Format(ms > 10000 ? "in %6.0f ms :" : "in %6.1f ms :", ms);
}

}  // namespace

bool DataLogger::m_ignoreEmptyData = false;

void DataLogger::SetIgnoreEmptyData(bool ignoreEmptyData) { m_ignoreEmptyData = ignoreEmptyData; }

void DataLogger::LogBlock(const byte* data, unsigned int size, const long long& startTime,
                          const long long& endTime, Direction direction, const std::string& comment) {
    if ((size == 0 && m_ignoreEmptyData) || !IsLogged(LogType_Debug)) return;
    LogMsg(LogType_Debug, FormatBlock(data, size, startTime, endTime, direction, comment), true);
}

std::string DataLogger::FormatBlock(const byte* data, unsigned int size, long long startTime,
                                    long long endTime, Direction direction, const std::string& comment) {
    std::string line = Label(direction) + Format("%3u bytes ", size) + Duration(startTime, endTime) + comment;
    for (unsigned int i = 0; i < size; i++) line += Format(" %02x", data[i]);
    return line;
}

void LogIoStatistics() {
    std::string text = Format("I/O statistics : OUT frames = %d, IN frames = %d", IoStatistics::FramesSend,
                              IoStatistics::FramesReceived);
    if (IoStatistics::LostRespCount != 0) text += Format(", LOST = %d", IoStatistics::LostRespCount);
    if (IoStatistics::GarbageCount != 0) text += Format(", GARB = %d", IoStatistics::GarbageCount);
    LogMsg(LogType_Both, text, true);
}
