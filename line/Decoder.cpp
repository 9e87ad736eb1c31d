#include "Decoder.h"

#include <vector>

#include "EcrComm/EcrComm.h"
#include "EcrComm/FrameFormatter.h"
#include "EcrComm/Protocols.h"
#include "Format.h"
#include "Meaning.h"
#include "Text/RecordText.h"
#include "Tools.h"

void Decoder::ReceiveFromTool(byte value) { Receive(m_tool, value, TraceSource::Tool); }

void Decoder::ReceiveFromRegister(byte value) { Receive(m_register, value, TraceSource::Register); }

void Decoder::HangUp() {
    m_tool.Drop();
    m_register.Drop();
    m_state = m_requested = State::Idle;
    m_trace.Tell(TraceSource::Line, "the other side has hung up");
}

void Decoder::Receive(FrameReader& reader, byte value, TraceSource source) {
    switch (reader.Receive(value)) {
        case FrameReader::Event::None: return;
        case FrameReader::Event::CutShort: m_trace.Tell(source, "frame cut short"); return;
        case FrameReader::Event::Frame: ReceiveFrame(reader, source); return;
        case FrameReader::Event::Ack: m_trace.Tell(source, "ACK"); return;
        case FrameReader::Event::Nak: m_trace.Tell(source, "NAK"); return;
        case FrameReader::Event::Noise: m_trace.Tell(source, Format("%02x, noise", value)); return;
    }
}

void Decoder::ReceiveFrame(const FrameReader& reader, TraceSource source) {
    const std::vector<byte>& frame = reader.GetFrame();
    const auto size = static_cast<uint16_t>(frame.size());
    byte seqNo = 0;
    std::vector<byte> payload;
    // the version in use first, then the others: a frame of one passes for one of another but by chance
    int version = m_version;
    for (int i = 0; i < newestFrameVersion && payload.empty(); i++) {
        version = (m_version + newestFrameVersion - 1 - i) % newestFrameVersion + 1;
        payload.resize(size);
        payload.resize(GetFrameVersion(version).parse(frame.data(), size, seqNo, payload.data(), size));
    }
    constexpr size_t headerSize = FrameFormatter::headerSize;
    if (payload.empty()) {
        m_trace.Tell(source, "frame that is none of any version");
        return;
    }
    m_version = version;
    std::string meaning = "no application frame";
    if (payload.size() >= headerSize &&
        FrameFormatter::GetDataLength(payload.data()) + headerSize == payload.size()) {
        const Record data(payload.begin() + headerSize, payload.end());
        const bool isFromTool = source == TraceSource::Tool;
        if (isFromTool && GetFrameVersion(version).isNumbered && seqNo == 0)
            m_state = m_requested = State::Idle;
        meaning = isFromTool ? DescribeFromTool(payload[0], data) : DescribeFromRegister(payload[0], data);
    }
    m_trace.Tell(source, NameFrame(GetFrameVersion(version), seqNo) + ": " + meaning);
}

std::string Decoder::DescribeFromTool(byte protocol, const Record& data) {
    if (IsProtocol(protocol, Protocol_SessionAuth)) return authorisationMeaning;
    if (IsProtocol(protocol, Protocol_Standard)) return DescribeStandard(data);
    if (IsProtocol(protocol, Protocol_Fiscal) && !data.empty())
        return DescribeCommand(data[0], Record(data.begin() + 1, data.end()));
    return Format("protocol %d", protocol);
}

std::string Decoder::DescribeStandard(const Record& data) {
    const bool isRequest = data.size() == 2 || (data.size() == 3 && data[2] == standardRequestVersion);
    if (m_state == State::Sending || !isRequest) {
        if (data.empty()) m_state = State::Idle;
        return DescribeRecord(data);
    }
    m_requested = data[1] == Action_Read                                ? State::Reading
                  : data[1] == Action_Write || data[1] == Action_Delete ? State::Sending
                                                                        : State::Idle;
    m_state = State::Idle;
    return DescribeRequest(data[0], data[1]);
}

std::string Decoder::DescribeFromRegister(byte protocol, const Record& data) {
    const bool isCode = data.size() == 1;
    if (IsProtocol(protocol, Protocol_Standard) && m_state == State::Reading && !isCode) {
        if (data.empty()) m_state = State::Idle;
        return DescribeRecord(data);
    }
    if (data.empty()) return DescribeRecord(data);
    if (isCode && data[0] == ResponseCode_OK && m_requested != State::Idle) {
        m_state = m_requested;
        m_requested = State::Idle;
    }
    const Record fields(data.begin() + 1, data.end());
    if (IsProtocol(protocol, Protocol_Fiscal) && !isCode) return statusMeaning + DescribeFields(fields);
    // the field counts from 0 on the wire
    return DescribeAnswer(data[0], m_state == State::Sending) +
           (isCode ? "" : Format(" in field %lld", ToInt(DescribeFields(fields)) + 1LL));
}
