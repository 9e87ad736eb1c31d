#include "EcrComm/CommChannels/FrameVersion.h"

namespace {

void Replace(std::string& text, const std::string& placeholder, const std::string& value) {
    const size_t position = text.find(placeholder);
    if (position != std::string::npos) text.replace(position, placeholder.size(), value);
}

}  // namespace

const FrameVersion& GetFrameVersion(int number) {
    const bool isKnown = number >= 1 && number <= newestFrameVersion;
    return frameVersions[(isKnown ? number : newestFrameVersion) - 1];
}

std::string WithFrameVersions(std::string text) {
    std::string all;
    for (const FrameVersion& version : frameVersions)
        all += (all.empty() ? "" : "|") + std::to_string(version.number);
    Replace(text, "@VERSIONS@", all);
    Replace(text, "@VERSION_RANGE@", "1 to " + std::to_string(newestFrameVersion));
    return text;
}
