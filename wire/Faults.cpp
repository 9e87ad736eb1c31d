#include "Faults.h"

#include <cstdlib>
#include <sstream>

#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "Exceptions.h"

const char* const faultNames[faultCount] = {"drop",  "flip", "duplicate", "truncate", "delay",
                                            "noise", "stx",  "etx",       "ack",      "nak"};

std::vector<CarriedByte> ApplyFault(Fault fault, byte value) {
    switch (fault) {
        case Fault::Drop:
        case Fault::Truncate: return {};
        case Fault::Flip: return {{static_cast<byte>(value ^ 0x04), false}};
        case Fault::Duplicate: return {{value, false}, {value, false}};
        case Fault::Delay: return {{value, true}};
        case Fault::Noise: return {{0x55, false}, {value, false}};
        case Fault::Stx: return {{STX, false}};
        case Fault::Etx: return {{ETX, false}};
        case Fault::Ack: return {{ACK, false}};
        case Fault::Nak: return {{NAK, false}};
    }
    return {};
}

void ParseFaultRates(const std::string& text, FaultRates& rates) {
    std::istringstream list(text);
    for (std::string item; std::getline(list, item, ',');) {
        const size_t separator = item.find('=');
        const std::string name = item.substr(0, separator);
        const std::string number = separator == std::string::npos ? "" : item.substr(separator + 1);
        char* end = nullptr;
        const double rate = std::strtod(number.c_str(), &end);
        size_t fault = 0;
        while (fault < faultCount && name != faultNames[fault]) fault++;
        if (fault == faultCount || number.empty() || *end != '\0' || !(rate >= 0 && rate <= 1))
            throw new CommandLineException("'" + item + "' is no FAULT=RATE");
        rates[fault] = rate;
    }
}

FaultyLine::FaultyLine(const FaultRates& rates, unsigned seed) : m_rates(rates), m_random(seed) {}

std::vector<CarriedByte> FaultyLine::Carry(const std::vector<byte>& block) {
    std::vector<CarriedByte> carried;
    for (const byte value : block) {
        double chance = std::uniform_real_distribution<>()(m_random);
        size_t fault = 0;
        while (fault < faultCount && chance >= m_rates[fault]) chance -= m_rates[fault++];
        if (fault == faultCount) {
            carried.push_back({value, false});
            continue;
        }
        const std::vector<CarriedByte> arriving = ApplyFault(static_cast<Fault>(fault), value);
        carried.insert(carried.end(), arriving.begin(), arriving.end());
        if (static_cast<Fault>(fault) == Fault::Truncate) break;
    }
    return carried;
}
