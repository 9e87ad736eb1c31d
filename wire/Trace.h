#pragma once

#include <string>

#include "Recording.h"

/** How a trace is printed: not at all, as lines for a person, or as JSON objects, one a line. */
enum class TraceForm { None, Text, Json };

/** What a line tells of: what the tool or the register sent, what the simulator does about it, or the line
 * itself. */
enum class TraceSource { Tool, Register, Simulator, Line };

/** What the traffic means: printed if that is asked for, and kept in a recording if there is one. */
class Trace {
public:
    explicit Trace(TraceForm form, Recording* recording = nullptr) : m_form(form), m_recording(recording) {}
    /** Prints the event behind the time of day and, as text, an arrow that tells its source. */
    void Tell(TraceSource source, const std::string& event) const;

private:
    TraceForm m_form;
    Recording* m_recording;
};
