#include "Link.h"

#include <algorithm>

#include "Defaults.h"
#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "Format.h"
#include "Meaning.h"

namespace {

constexpr int maxAttempts = 10;
constexpr Time silenceInFrame = 500'000;       // after which a frame begun is dropped
constexpr Time silenceAfterRecords = 200'000;  // after which a packet is taken for the last one
constexpr int bitsPerByte = 11;

}  // namespace

Link::Link(const Options& options, Register& ecr, const Trace& trace)
    : m_options(options),
      m_version(GetFrameVersion(options.version)),
      m_ecr(ecr),
      m_trace(trace),
      m_nextSndSeqNo(TcFrameSeqNo::firstRunning) {}

Time Link::DurationOf(size_t bytes) const {
    return m_options.baud == 0 ? 0 : static_cast<Time>(bytes) * bitsPerByte * 1'000'000 / m_options.baud;
}

std::vector<byte> Link::TakeOutput() {
    std::vector<byte> output;
    output.swap(m_output);
    return output;
}

void Link::SendControl(byte value, const char* name) {
    m_output.push_back(value);
    m_trace.Tell(TraceSource::Register, name);
}

void Link::Receive(byte value, Time now) {
    m_lastByteTime = now;
    switch (m_reader.Receive(value)) {
        case FrameReader::Event::None: return;
        case FrameReader::Event::CutShort:
            m_trace.Tell(TraceSource::Tool, "frame cut short, dropped");
            return;
        case FrameReader::Event::Frame: ReceiveFrame(now); return;
        case FrameReader::Event::Ack:
            m_trace.Tell(TraceSource::Tool, "ACK");
            ReceiveAck(now);
            return;
        case FrameReader::Event::Nak:
            m_trace.Tell(TraceSource::Tool, "NAK");
            if (m_attempts > 0) Repeat(now, "refused");
            return;
        case FrameReader::Event::Noise:
            // it may be of a password whose frame has lost its beginning
            m_trace.Tell(TraceSource::Tool, m_options.password.empty() || m_options.arePasswordsShown
                                                ? Format("%02x, noise", value)
                                                : "noise");
            return;
    }
}

bool Link::ParseFrame(byte& seqNo, std::vector<byte>& payload) {
    const std::vector<byte>& frame = m_reader.GetFrame();
    const auto size = static_cast<uint16_t>(frame.size());
    payload.resize(size);
    payload.resize(m_version.parse(frame.data(), size, seqNo, payload.data(), size));
    return !payload.empty();
}

bool Link::IsRepeated(byte seqNo, const std::vector<byte>& payload) const {
    if (!m_version.isNumbered || !m_hasReceived || seqNo != m_lastRcvSeqNo) return false;
    // Number 0 also begins a session; it is the same frame again only while its first answer is on its way.
    return seqNo != 0 ||
           (payload == m_lastPayload && m_attempts > 0 && m_nextSndSeqNo == TcFrameSeqNo::firstRunning);
}

void Link::ReceiveFrame(Time now) {
    byte seqNo = 0;
    std::vector<byte> payload;
    const bool isGood = ParseFrame(seqNo, payload);
    if (!isGood) {
        m_trace.Tell(TraceSource::Tool, Format("frame that is none of version %d", m_version.number));
        SendControl(NAK, "NAK");
    } else if (IsRepeated(seqNo, payload)) {
        m_trace.Tell(TraceSource::Tool, NameFrame(m_version, seqNo) + " again, dropped");
        SendControl(ACK, "ACK");
    } else {
        AcceptFrame(seqNo, payload, now);
    }
}

void Link::AcceptFrame(byte seqNo, const std::vector<byte>& payload, Time now) {
    if (m_version.isNumbered && seqNo == 0) RestartSession();
    m_hasReceived = true;
    m_lastRcvSeqNo = seqNo;
    m_lastPayload = payload;
    // whoever goes on has got the answer, even if the acknowledgement for it was lost
    if (m_attempts > 0) ReceiveAck(now);

    Message message{payload, ""};
    const std::vector<Message> answers = m_ecr.Receive(message);
    m_trace.Tell(TraceSource::Tool, NameFrame(m_version, seqNo) + ": " + message.meaning);
    SendControl(ACK, "ACK");
    Queue(answers, now);
}

void Link::RestartSession() {
    m_ecr.EndSession();
    m_queue.clear();
    m_attempts = 0;
    m_ackDeadline = never;
    m_nextSndSeqNo = TcFrameSeqNo::firstRunning;
    m_hasReceived = false;
}

void Link::HangUp() {
    RestartSession();
    m_reader.Drop();
    m_output.clear();
    m_trace.Tell(TraceSource::Line, "the other side has hung up");
}

void Link::ReceiveAck(Time now) {
    if (m_attempts == 0) return;
    m_queue.pop_front();
    m_nextSndSeqNo = TcFrameSeqNo::Next(m_nextSndSeqNo);
    m_attempts = 0;
    m_ackDeadline = never;
    if (!m_queue.empty()) SendFront(now);
}

void Link::Queue(const std::vector<Message>& messages, Time now) {
    m_queue.insert(m_queue.end(), messages.begin(), messages.end());
    if (m_attempts == 0 && !m_queue.empty()) SendFront(now);
}

void Link::SendFront(Time now) {
    const Message& message = m_queue.front();
    byte frame[2 * commIoBufferSize];
    const auto size = static_cast<uint16_t>(message.frame.size());
    const uint16_t length = m_version.build(message.frame.data(), size, m_nextSndSeqNo, frame, sizeof frame);
    m_output.insert(m_output.end(), frame, frame + length);
    m_attempts++;
    m_ackDeadline = now + DurationOf(length) + Time{m_options.ackTime} * 1000;
    m_trace.Tell(TraceSource::Register, NameFrame(m_version, m_nextSndSeqNo) + ": " + message.meaning);
}

void Link::Repeat(Time now, const char* reason) {
    if (m_attempts < maxAttempts) {
        m_trace.Tell(TraceSource::Simulator, Format("frame #%d %s, sent again", m_nextSndSeqNo, reason));
        SendFront(now);
    } else {
        m_trace.Tell(TraceSource::Simulator, "no acknowledgement, session given up");
        RestartSession();
    }
}

Time Link::GetDeadline() const {
    Time deadline = m_ackDeadline;
    if (m_reader.IsInFrame())
        deadline = std::min(deadline, m_lastByteTime + silenceInFrame);
    else if (m_ecr.HoldsAnswers())
        deadline = std::min(deadline, m_lastByteTime + silenceAfterRecords);
    return deadline;
}

void Link::Tick(Time now) {
    if (m_reader.IsInFrame() && now >= m_lastByteTime + silenceInFrame) {
        m_trace.Tell(TraceSource::Tool, "frame not finished, dropped");
        m_reader.Drop();
    }
    if (m_ecr.HoldsAnswers() && !m_reader.IsInFrame() && now >= m_lastByteTime + silenceAfterRecords)
        Queue(m_ecr.ReleaseAnswers(), now);
    if (now >= m_ackDeadline) Repeat(now, "not acknowledged");
}
