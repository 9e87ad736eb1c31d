#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "Byte.h"
#include "EcrComm/CommChannels/FrameVersion.h"
#include "FrameReader.h"
#include "Options.h"
#include "Peer.h"
#include "Register.h"
#include "Trace.h"

/**
 * The register's end of the line: takes bytes, acknowledges frames and sends the register's answers, each
 * until it is acknowledged. proof/exchange.pml is a model of it: what changes here changes there.
 */
class Link : public Peer {
public:
    Link(const Options& options, Register& ecr, const Trace& trace);

    void Receive(byte value, Time now) override;
    void Tick(Time now) override;
    Time GetDeadline() const override;
    std::vector<byte> TakeOutput() override;
    void HangUp() override;

private:
    void ReceiveFrame(Time now);
    bool ParseFrame(byte& seqNo, std::vector<byte>& payload);
    bool IsRepeated(byte seqNo, const std::vector<byte>& payload) const;
    void AcceptFrame(byte seqNo, const std::vector<byte>& payload, Time now);
    void ReceiveAck(Time now);
    void RestartSession();
    void Queue(const std::vector<Message>& messages, Time now);
    void SendFront(Time now);
    void Repeat(Time now, const char* reason);
    void SendControl(byte value, const char* name);
    Time DurationOf(size_t bytes) const;

    const Options m_options;
    const FrameVersion& m_version;
    Register& m_ecr;
    const Trace& m_trace;
    std::vector<byte> m_output;

    FrameReader m_reader;
    byte m_lastRcvSeqNo = 0;
    bool m_hasReceived = false;  // since the session began
    std::vector<byte> m_lastPayload;
    Time m_lastByteTime = 0;

    std::deque<Message> m_queue;  // the first one is on its way while m_attempts > 0
    byte m_nextSndSeqNo = 0;
    int m_attempts = 0;
    Time m_ackDeadline = never;
};
