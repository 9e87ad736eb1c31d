#pragma once

#include <string>

#include "EcrComm/CommChannels/FrameVersion.h"
#include "FrameReader.h"
#include "Records/Record.h"
#include "Trace.h"

/** Says what the bytes of a session between two others mean, in the words of the simulated register. */
class Decoder {
public:
    explicit Decoder(const Trace& trace) : m_trace(trace) {}
    void ReceiveFromTool(byte value);
    void ReceiveFromRegister(byte value);
    /** The tool has closed the line. */
    void HangUp();

private:
    /** Reading: records are on their way from the register; Sending: from the tool. */
    enum class State { Idle, Reading, Sending };

    void Receive(FrameReader& reader, byte value, TraceSource source);
    void ReceiveFrame(const FrameReader& reader, TraceSource source);
    std::string DescribeFromTool(byte protocol, const Record& data);
    std::string DescribeFromRegister(byte protocol, const Record& data);
    std::string DescribeStandard(const Record& data);

    const Trace& m_trace;
    FrameReader m_tool;
    FrameReader m_register;
    int m_version = newestFrameVersion;  // of the last good frame
    State m_state = State::Idle;
    State m_requested = State::Idle;  // what follows if the register agrees
};
