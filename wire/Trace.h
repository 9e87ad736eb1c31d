#pragma once

#include <string>

#include "Recording.h"

/** How a trace is printed: not at all, as lines for a person, or as JSON objects, one a line. */
enum class TraceForm { None, Text, Json };

/** What the traffic means: printed if that is asked for, and kept in a recording if there is one. */
class Trace {
public:
    explicit Trace(TraceForm form, Recording* recording = nullptr) : m_form(form), m_recording(recording) {}
    /** Prints the text, which begins with "<- " for what the tool sent and "-> " for what reaches it, behind
     * the time of day. */
    void Line(const std::string& text) const;

private:
    TraceForm m_form;
    Recording* m_recording;
};
