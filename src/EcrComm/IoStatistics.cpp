#include "EcrComm/IoStatistics.h"

int IoStatistics::FramesSend = 0;
int IoStatistics::FramesReceived = 0;
int IoStatistics::LostRespCount = 0;
int IoStatistics::GarbageCount = 0;
int IoStatistics::RepeatedFrames = 0;
int IoStatistics::UnnumberedFaults = 0;
int IoStatistics::BytesReceived = 0;

void IoStatistics::Reset() {
    FramesSend = FramesReceived = LostRespCount = GarbageCount = 0;
    RepeatedFrames = UnnumberedFaults = BytesReceived = 0;
}

int IoStatistics::GetIoErrorCount() { return GarbageCount + LostRespCount; }
