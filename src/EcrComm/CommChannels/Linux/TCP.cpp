#include "EcrComm/CommChannels/Linux/TCP.h"

#include "Exceptions.h"

ChannelOwner TCP::Create() {
    return {new TCP, [](ICommChannel* channel) { delete static_cast<TCP*>(channel); }};
}

void TCP::Open() { throw new InternalException(__FILE__, __LINE__); }

void TCP::Close() {}

void TCP::SetReadTimeout(unsigned int) {}

void TCP::GetReadTimeout(unsigned int&) {}

bool TCP::Read(byte*, unsigned int) { return false; }

bool TCP::Write(const byte*, unsigned int) { return false; }

bool TCP::WriteDirect(const byte*, unsigned int) { return false; }

unsigned int TCP::ReadUnknownSize(byte*, unsigned int, byte) { return 0; }
