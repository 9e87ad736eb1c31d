#pragma once

#include <vector>

#include "Decoder.h"
#include "EcrComm/CommChannels/Linux/ComPort.h"
#include "Peer.h"

/** The real register as the peer of the tool: carries bytes between the two and says what they mean. */
class Tap : public Peer {
public:
    /** The port is open and outlives this. */
    Tap(const ComPort& port, const Trace& trace) : m_port(port), m_decoder(trace) {}

    void Receive(byte value, Time now) override;
    /** Carries what the port takes and gives; SystemException when it is gone. */
    void Tick(Time now) override;
    Time GetDeadline() const override;
    std::vector<byte> TakeOutput() override;
    void HangUp() override;
    int GetHandle() const override { return m_port.GetHandle(); }
    bool IsFull() const override;
    void Explain() override;

private:
    /** A byte that passes, and where from. */
    struct Passing {
        byte value;
        bool isFromTool;
    };

    const ComPort& m_port;
    Decoder m_decoder;
    std::vector<byte> m_toRegister;  // not taken by the port yet
    std::vector<byte> m_output;
    std::vector<Passing> m_passed;  // not explained yet
    bool m_hasHungUp = false;
    Time m_retryTime = never;
};
