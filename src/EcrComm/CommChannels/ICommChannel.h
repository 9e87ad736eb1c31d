#pragma once

#include <memory>

#include "Byte.h"

/**
 * A byte channel to the ECR. Line failures are false or a short count; exceptions tell that the channel
 * itself is out of order. There is no virtual destructor: freeing a channel through this interface never
 * closes its device.
 */
class ICommChannel {
public:
    /** ConfigurationException, SystemException (50) or ApplicationException (16) when there is no channel to
     * be had. */
    virtual void Open() = 0;
    /** Closing a closed channel does nothing. */
    virtual void Close() = 0;
    /** Time-out in ms for the first byte of later reads; a channel may count it in coarser units. */
    virtual void SetReadTimeout(unsigned int ms) = 0;
    virtual void GetReadTimeout(unsigned int& ms) = 0;
    /** True only when exactly size bytes were delivered. Here and below InternalException for a size of 0. */
    virtual bool Read(byte* data, unsigned int size) = 0;
    /** True when the whole block was delivered; false when the other side does not take it. */
    virtual bool Write(const byte* data, unsigned int size) = 0;
    /** Writes without any framing of the channel. */
    virtual bool WriteDirect(const byte* data, unsigned int size) = 0;
    /** Reads, without framing, until endByte, size bytes or silence; returns the count, 0 for silence. */
    virtual unsigned int ReadUnknownSize(byte* data, unsigned int size, byte endByte) = 0;
    /** No block is sent again once so many ms have passed since it was sent first; 0: for no such reason. */
    virtual void SetRepeatTime(int) {}
    /** Drops what is still under way from the other side; false when that does not end. */
    virtual bool Settle() { return true; }
    /** Whether anything was sent, or a run has ended, within the last so many seconds; true where nobody can
     * tell. */
    virtual bool WasUsedWithin(int) const { return true; }

protected:
    ~ICommChannel() = default;
};

/**
 * Owner of a channel. Its deleter comes from the concrete class's Create and knows that class, so the whole
 * object is destroyed and its memory freed, but a device that is still open is detached first and so stays
 * open.
 */
using ChannelOwner = std::unique_ptr<ICommChannel, void (*)(ICommChannel*)>;
