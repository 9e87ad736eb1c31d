#pragma once

#include <iterator>
#include <string>

#include "EcrComm/CommChannels/Compatibility/TcFrame_v1.h"
#include "EcrComm/CommChannels/Compatibility/TcFrame_v2.h"
#include "EcrComm/CommChannels/TcFrame.h"
#include "Settings.h"

/** A version of the transport-control frames; docs/protocol.md, "Transport-control frames". */
struct FrameVersion {
    int number;       // as the setting "SerialProtocolVersion" has it
    bool isNumbered;  // frames carry a sequence number; without one a repeated frame passes for a new one
    /** As TcFrame::Build and TcFrame::Parse; a version without numbers leaves seqNo as it is. */
    uint16_t (*build)(const byte* data, uint16_t dataSize, byte seqNo, byte* frame, uint16_t frameBufSize);
    uint16_t (*parse)(const byte* frame, uint16_t frameSize, byte& seqNo, byte* data, uint16_t dataBufSize);
};

/** Every version, numbered from 1 without gaps, in the order in which they are tried. */
inline constexpr FrameVersion frameVersions[] = {
    {1, false,
     [](const byte* data, uint16_t dataSize, byte, byte* frame, uint16_t frameBufSize) {
         return TcFrame_v1::Build(data, dataSize, frame, frameBufSize);
     },
     [](const byte* frame, uint16_t frameSize, byte&, byte* data, uint16_t dataBufSize) {
         return TcFrame_v1::Parse(frame, frameSize, data, dataBufSize);
     }},
    {2, true, TcFrame_v2::Build, TcFrame_v2::Parse},
    {3, true, TcFrame::Build, TcFrame::Parse}};

inline constexpr int newestFrameVersion = std::size(frameVersions);
static_assert(settings::serialProtocolVersion.range.most == newestFrameVersion,
              "src/Settings.h has its range");

/** The version of this number; the newest for a number that has none. */
const FrameVersion& GetFrameVersion(int number);

/** The text with "@VERSIONS@" as "1|2|3", and "@VERSION_RANGE@" as "1 to 3". */
std::string WithFrameVersions(std::string text);
