#pragma once

#include <string>

#include "Recording.h"

/** Lines for a person who follows the traffic: printed if that is switched on, and kept in a recording if
 * there is one. */
class Trace {
public:
    explicit Trace(bool isOn, Recording* recording = nullptr) : m_isOn(isOn), m_recording(recording) {}
    /** Prints the text behind the time of day. */
    void Line(const std::string& text) const;

private:
    bool m_isOn;
    Recording* m_recording;
};
