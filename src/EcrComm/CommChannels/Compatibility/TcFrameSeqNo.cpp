#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"

bool TcFrameSeqNo::IsValid(byte seqNo) { return seqNo == 0 || seqNo >= firstRunning; }

byte TcFrameSeqNo::Next(byte seqNo) {
    return seqNo == 0 || seqNo == 255 ? firstRunning : static_cast<byte>(seqNo + 1);
}
