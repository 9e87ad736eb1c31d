#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"

namespace {

constexpr byte firstRunningNumber = 32;

}  // namespace

bool TcFrameSeqNo::IsValid(byte seqNo) { return seqNo == 0 || seqNo >= firstRunningNumber; }

byte TcFrameSeqNo::Next(byte seqNo) {
    return seqNo == 0 || seqNo == 255 ? firstRunningNumber : static_cast<byte>(seqNo + 1);
}
