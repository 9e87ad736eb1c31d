#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Byte.h"
#include "EcrComm/CommChannels/Linux/LineSettings.h"

/** Errors that the driver has counted; docs/architecture.md, "The line itself". */
struct LineErrors {
    unsigned parity = 0;
    unsigned framing = 0;
    unsigned overrun = 0;
};

/** A line that is probed. */
class ProbedLine {
public:
    virtual ~ProbedLine() = default;
    virtual void Apply(const LineSettings& settings) = 0;
    virtual void Send(const std::vector<byte>& bytes) = 0;
    /** What comes until the line falls silent again; nothing when nothing comes in time. */
    virtual std::vector<byte> Receive() = 0;
    /** Since the port was opened; nothing for a driver that does not count. */
    virtual std::optional<LineErrors> GetErrors() = 0;
};

/** What came back from a register that was sent a frame with wrong check bytes. */
struct ProbeResult {
    enum class Answer { Nothing, Nak, Echo, Other };

    LineSettings settings;
    Answer answer = Answer::Nothing;
    std::vector<byte> bytes;  // that came
    LineErrors errors;        // meanwhile
};

/** A frame that every version of the frames refuses, so that it is answered with NAK and has no effect. */
std::vector<byte> GetProbeFrame();

/**
 * Probes with the configured settings first: an echo ends the probe there, an answer limits it to their
 * speed. Otherwise tries every speed with every parity, up to the first speed with an answer. Tells each
 * result as soon as it is there.
 */
std::vector<ProbeResult> ProbeLine(ProbedLine& line, const LineSettings& configured,
                                   const std::function<void(const ProbeResult& result)>& tell);

/** "38400 baud, odd parity, 8 data bits, 1 stop bit: NAK, the register answers" */
std::string Describe(const ProbeResult& result);

/** The result to go by: an answer, the one with the fewest errors of several; null without one. */
const ProbeResult* FindAnswer(const std::vector<ProbeResult>& results);

/** A sentence that says what to do, with the ComSettings to write into the INI file. */
std::string Advise(const std::vector<ProbeResult>& results, const std::string& iniFile);
