#pragma once

#include <string>

/** Lines for a person who follows the traffic; none unless switched on. */
class Trace {
public:
    explicit Trace(bool isOn) : m_isOn(isOn) {}
    bool IsOn() const { return m_isOn; }
    /** Prints the text behind the time of day. */
    void Line(const std::string& text) const;

private:
    bool m_isOn;
};
