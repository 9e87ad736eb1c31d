#pragma once

#include <unistd.h>

#include <utility>

/** A file descriptor that closes itself; -1 for none. */
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int handle) : m_handle(handle) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Reset(); }

    int Get() const { return m_handle; }
    bool IsOpen() const { return m_handle != -1; }
    /** Closes what it has, and takes another one. False when the closing fails. */
    bool Reset(int handle = -1) {
        const int former = std::exchange(m_handle, handle);
        return former == -1 || close(former) == 0;
    }
    /** Gives it away without closing it. */
    int Release() { return std::exchange(m_handle, -1); }

private:
    int m_handle = -1;
};
