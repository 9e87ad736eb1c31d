#pragma once

#include "EcrComm/CommChannels/ICommChannel.h"

/** The network channel, which this platform does not have: it can be selected, but Open is an internal error.
 */
class TCP final : public ICommChannel {
public:
    static ChannelOwner Create();

    void Open() override;
    void Close() override;
    void SetReadTimeout(unsigned int ms) override;
    void GetReadTimeout(unsigned int& ms) override;
    bool Read(byte* data, unsigned int size) override;
    bool Write(const byte* data, unsigned int size) override;
    bool WriteDirect(const byte* data, unsigned int size) override;
    unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) override;
};
