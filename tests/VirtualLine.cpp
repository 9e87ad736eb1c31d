#include "VirtualLine.h"

#include <algorithm>

#include "Exceptions.h"

namespace {

constexpr Time byteTime = 286;            // 11 bits at 38400 baud
constexpr Time lateness = 3'000'000;      // longer than any time-out of the session
constexpr Time stallMaxTime = 1'500'000;  // as "ComStallMaxTime" of 1500 ms
constexpr Time endOfTime = 3600'000'000;  // an hour: no session takes that long unless it hangs

Time DueOf(const std::deque<std::pair<Time, byte>>& wire) {
    return wire.empty() ? never : wire.front().first;
}

}  // namespace

ChannelOwner VirtualLine::Lend() {
    return {this, [](ICommChannel*) {}};
}

void VirtualLine::Send(Wire& wire, const std::vector<byte>& block) {
    Time due = wire.empty() ? m_now : std::max(m_now, wire.back().first);
    const std::vector<CarriedByte> carried = m_carry(*this, block);
    if (m_isHungUp) return;
    for (const CarriedByte& arriving : carried) {
        due += byteTime + (arriving.isLate ? lateness : 0);
        wire.emplace_back(due, arriving.value);
    }
}

bool VirtualLine::Write(const byte* data, unsigned int size) {
    Send(m_toEcr, {data, data + size});
    return true;
}

void VirtualLine::RunUntil(Time time) {
    m_now = std::max(m_now, time);
    if (m_now > endOfTime) throw new InternalException("the session hangs", 0);
    while (!m_isHungUp && DueOf(m_toEcr) <= m_now) {
        const byte value = m_toEcr.front().second;
        m_toEcr.pop_front();
        m_link.Receive(value, m_now);
    }
    m_link.Tick(m_now);
    const std::vector<byte> output = m_link.TakeOutput();
    if (!output.empty()) Send(m_toPc, output);
}

bool VirtualLine::NextByte(byte& value, Time deadline) {
    for (;;) {
        if (m_isHungUp) return false;
        if (DueOf(m_toPc) <= m_now) {
            value = m_toPc.front().second;
            m_toPc.pop_front();
            return true;
        }
        const Time next = std::min({DueOf(m_toPc), DueOf(m_toEcr), m_link.GetDeadline(), deadline});
        RunUntil(next);
        if (m_now >= deadline && DueOf(m_toPc) > m_now) return false;
    }
}

unsigned int VirtualLine::ReadBytes(byte* data, unsigned int size, int endByte) {
    unsigned int count = 0;
    while (count < size && NextByte(data[count], m_now + (count == 0 ? m_timeout : stallMaxTime)))
        if (data[count++] == endByte) break;
    return count;
}

bool VirtualLine::Read(byte* data, unsigned int size) { return ReadBytes(data, size, -1) == size; }

unsigned int VirtualLine::ReadUnknownSize(byte* data, unsigned int size, byte endByte) {
    return ReadBytes(data, size, endByte);
}
