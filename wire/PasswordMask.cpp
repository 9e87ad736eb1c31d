#include "PasswordMask.h"

#include "EcrComm/CommChannels/Compatibility/TcFrameSeqNo.h"
#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "EcrComm/Protocols.h"
#include "Format.h"

bool PasswordMask::Hides(byte value) {
    if (value == STX || value == ETX) {
        m_isHiding = false;
        m_place = value == STX ? Place::Start : Place::None;
        return false;
    }
    switch (m_place) {
        case Place::None: return m_isHiding;
        case Place::Start:
            // a number; without one the identifier, which is below all numbers
            if (TcFrameSeqNo::IsValid(value)) {
                m_place = Place::Identifier;
                return false;
            }
            [[fallthrough]];
        case Place::Identifier:
            m_place = IsProtocol(value, Protocol_SessionAuth) ? Place::LengthLow : Place::None;
            return false;
        case Place::LengthLow:
            // of 1 in an answer: a code
            m_place = value == 1 ? Place::LengthHigh : Place::None;
            m_isHiding = m_isOn && value != 1;
            return m_isHiding;
        case Place::LengthHigh:
            m_place = Place::None;
            m_isHiding = m_isOn && value != 0;
            return m_isHiding;
    }
    return false;
}

std::string PasswordMask::ToText(const std::vector<byte>& bytes) {
    std::string text;
    bool wasHidden = false;
    for (const byte value : bytes) {
        const bool isHidden = Hides(value);
        if (!isHidden)
            text += Format(" %02x", value);
        else if (!wasHidden)
            text += std::string(" ") + hidden;
        wasHidden = isHidden;
    }
    return text;
}
