#pragma once

#include <vector>

#include "Decoder.h"
#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "Peer.h"

/** The real register as the peer of the tool: carries bytes between the two and says what they mean. */
class Tap : public Peer {
public:
    /** Opens and locks the register's port; throws as ComPort::Open. */
    explicit Tap(const Trace& trace);

    void Receive(byte value, Time now) override;
    /** Carries what the port takes and gives; SystemException when it is gone. */
    void Tick(Time now) override;
    Time GetDeadline() const override;
    std::vector<byte> TakeOutput() override;
    void HangUp() override;
    int GetHandle() const override { return m_port.GetHandle(); }

private:
    ComPort m_port;
    Decoder m_decoder;
    std::vector<byte> m_toRegister;  // not taken by the port yet
    std::vector<byte> m_output;
    Time m_retryTime = never;
};
