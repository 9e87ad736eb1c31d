#pragma once

#include <deque>
#include <functional>
#include <utility>
#include <vector>

#include "EcrComm/CommChannels/ICommChannel.h"
#include "Faults.h"
#include "Link.h"

/**
 * A serial line to the simulated register's Link, in virtual time: a wait moves the clock, nothing sleeps.
 * Every block that either side sends passes through `carry`, where a test puts the line's faults.
 */
class VirtualLine final : public ICommChannel {
public:
    using Carry = std::function<std::vector<CarriedByte>(VirtualLine& line, const std::vector<byte>& block)>;

    VirtualLine(Link& link, Carry carry) : m_link(link), m_carry(std::move(carry)) {}

    void Open() override {}
    void Close() override {}
    void SetReadTimeout(unsigned int ms) override { m_timeout = Time{ms} * 1000; }
    void GetReadTimeout(unsigned int& ms) override { ms = static_cast<unsigned int>(m_timeout / 1000); }
    bool Read(byte* data, unsigned int size) override;
    bool Write(const byte* data, unsigned int size) override;
    bool WriteDirect(const byte* data, unsigned int size) override { return Write(data, size); }
    unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) override;
    ChannelOwner Lend();

    /** The line goes dead: nothing arrives any more, and reads fail at once as on a device that is gone. */
    void HangUp() { m_isHungUp = true; }
    Time GetTime() const { return m_now; }

private:
    using Wire = std::deque<std::pair<Time, byte>>;

    unsigned int ReadBytes(byte* data, unsigned int size, int endByte);
    bool NextByte(byte& value, Time deadline);
    void Send(Wire& wire, const std::vector<byte>& block);
    void RunUntil(Time time);

    Link& m_link;
    Carry m_carry;
    Wire m_toEcr;
    Wire m_toPc;
    Time m_now = 0;
    Time m_timeout = 0;
    bool m_isHungUp = false;
};
