#include "FrameReader.h"

#include "Defaults.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"

FrameReader::Event FrameReader::Receive(byte value) {
    if (m_isComplete) Drop();
    if (value == STX) {
        const bool isCut = IsInFrame();
        m_frame.assign(1, STX);
        return isCut ? Event::CutShort : Event::None;
    }
    if (m_frame.empty()) return value == ACK ? Event::Ack : value == NAK ? Event::Nak : Event::Noise;
    m_frame.push_back(value);
    m_isComplete = value == ETX;
    if (m_isComplete) return Event::Frame;
    if (m_frame.size() >= commIoBufferSize) Drop();
    return Event::None;
}

void FrameReader::Drop() {
    m_frame.clear();
    m_isComplete = false;
}
