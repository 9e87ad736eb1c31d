#pragma once

#include <cstdint>
#include <vector>

#include "Byte.h"

/** Microseconds of a clock that only goes forward. */
using Time = int64_t;
inline constexpr Time never = INT64_MAX;

/** The other end of the tool's line. It has no clock of its own: those without a device can run in virtual
 * time. */
class Peer {
public:
    virtual ~Peer() = default;
    virtual void Receive(byte value, Time now) = 0;
    /** Does what is due by now. */
    virtual void Tick(Time now) = 0;
    /** When Tick has something to do next. */
    virtual Time GetDeadline() const = 0;
    /** Bytes to put on the line. */
    virtual std::vector<byte> TakeOutput() = 0;
    /** The tool has closed the line. */
    virtual void HangUp() = 0;
    /** A descriptor whose input is to be waited for, too; -1 for none. */
    virtual int GetHandle() const { return -1; }
    /** True while it takes no more input. */
    virtual bool IsFull() const { return false; }
    /** Says what has passed; called once it is on its way. */
    virtual void Explain() {}
    /** True when there is nothing left to answer. */
    virtual bool IsDone() const { return false; }
};
