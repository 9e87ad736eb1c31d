#pragma once

#include <string>
#include <vector>

#include "Byte.h"

/**
 * Hides passwords in what one direction of the line carries, byte by byte: of an authorisation everything
 * behind the protocol identifier, the check bytes too, as they would tell it. Frames of all versions are
 * seen, unfinished ones, too, but none that has lost its beginning on a bad line; docs/protocol.md,
 * "Session".
 */
class PasswordMask {
public:
    /** Stands for bytes that are hidden, any number of them. */
    static constexpr const char* hidden = "**";

    explicit PasswordMask(bool isOn) : m_isOn(isOn) {}
    /** The bytes in hexadecimal, with a blank before each, and " **" for each run of hidden ones. */
    std::string ToText(const std::vector<byte>& bytes);

private:
    /** Whether a byte is to be hidden. */
    bool Hides(byte value);

    /** Of the next byte in a frame, as far as it matters. */
    enum class Place { None, Start, Identifier, LengthLow, LengthHigh };

    bool m_isOn;
    Place m_place = Place::None;
    bool m_isHiding = false;  // up to ETX
};
