#include "EcrComm/CommChannel.h"

#include <utility>

#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "EcrComm/CommChannels/Linux/TCP.h"
#include "EcrComm/CommChannels/PortWithTC.h"
#include "Exceptions.h"

namespace {

ChannelOwner NoChannel() {
    return {nullptr, [](ICommChannel*) {}};
}

ChannelOwner pCommChannel = NoChannel();

ChannelOwner CreateChannel(CommChannelType type) {
    switch (type) {
        case CommChannel_SerialPort: return ComPort::Create();
        case CommChannel_Ethernet: return TCP::Create();
        case CommChannel_SerialPortWithTC:
        case CommChannel_EthernetWithTC: return PortWithTC::Create(type);
    }
    throw new InternalException(__FILE__, __LINE__);
}

}  // namespace

void SelectCommChannel(CommChannelType type) {
    pCommChannel = NoChannel();
    pCommChannel = CreateChannel(type);
}

void SelectCommChannel(ChannelOwner channel) { pCommChannel = std::move(channel); }

void CommChannel_Open() { pCommChannel->Open(); }

void CommChannel_Close() {
    // a run that fails before a channel was chosen is disconnected all the same
    if (pCommChannel) pCommChannel->Close();
}

void CommChannel_SetReadTimeout(int ms) { pCommChannel->SetReadTimeout(static_cast<unsigned int>(ms)); }

bool CommChannel_Read(byte* data, unsigned int size) { return pCommChannel->Read(data, size); }

bool CommChannel_Write(const byte* data, unsigned int size) { return pCommChannel->Write(data, size); }

bool CommChannel_WriteDirect(const byte* data, unsigned int size) {
    return pCommChannel->WriteDirect(data, size);
}

bool CommChannel_Settle() { return pCommChannel->Settle(); }

void CommChannel_SetRepeatTime(int ms) { pCommChannel->SetRepeatTime(ms); }
