#include "Probe.h"

#include <algorithm>

#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "Format.h"

namespace {

using Answer = ProbeResult::Answer;

/** Settings that differ in a letter's case are the same. */
bool IsSame(const LineSettings& a, const LineSettings& b) {
    return a.baud == b.baud && a.data == b.data && a.stop == b.stop &&
           GetParity(a).letter == GetParity(b).letter;
}

Answer Judge(const std::vector<byte>& bytes) {
    const std::vector<byte> sent = GetProbeFrame();
    if (bytes.empty()) return Answer::Nothing;
    if (bytes == std::vector<byte>{NAK}) return Answer::Nak;
    const bool isEcho = bytes.size() >= sent.size() && std::equal(sent.begin(), sent.end(), bytes.begin());
    return isEcho ? Answer::Echo : Answer::Other;
}

/** A refusal counts if none comes unasked, as a late one of the settings before would, and another one does
 * when it is asked for. */
void Confirm(ProbedLine& line, ProbeResult& result) {
    const std::vector<byte> unasked = line.Receive();
    line.Send(GetProbeFrame());
    const std::vector<byte> again = line.Receive();
    if (unasked.empty() && Judge(again) == Answer::Nak) return;
    result.answer = Answer::Other;
    result.bytes.insert(result.bytes.end(), unasked.begin(), unasked.end());
    result.bytes.insert(result.bytes.end(), again.begin(), again.end());
}

ProbeResult Try(ProbedLine& line, const LineSettings& settings) {
    ProbeResult result;
    result.settings = settings;
    line.Apply(settings);
    const LineErrors before = line.GetErrors().value_or(LineErrors());
    line.Send(GetProbeFrame());
    result.bytes = line.Receive();
    result.answer = Judge(result.bytes);
    if (result.answer == Answer::Nak) Confirm(line, result);
    const LineErrors after = line.GetErrors().value_or(LineErrors());
    result.errors = {after.parity - before.parity, after.framing - before.framing,
                     after.overrun - before.overrun};
    return result;
}

unsigned CountErrors(const ProbeResult& result) {
    return result.errors.parity + result.errors.framing + result.errors.overrun;
}

std::string DescribeSettings(const LineSettings& settings) {
    return Format("%ld baud, %s, %d data bits, %d stop bit%s", settings.baud, GetParity(settings).name,
                  settings.data, settings.stop, settings.stop == 1 ? "" : "s");
}

std::string DescribeAnswer(const ProbeResult& result) {
    std::string hex;
    for (const byte value : result.bytes) hex += Format(" %02x", value);
    switch (result.answer) {
        case Answer::Nothing: return "nothing";
        case Answer::Nak: return "NAK, the register answers";
        case Answer::Echo: return "the own bytes, an echo:" + hex;
        case Answer::Other: return "bytes that are no answer:" + hex;
    }
    return "";
}

/** Where the register answers with several parities, which of them it has cannot be told from here. */
std::string OtherParities(const std::vector<ProbeResult>& results, const ProbeResult& chosen) {
    std::string others;
    for (const ProbeResult& result : results)
        if (result.answer == Answer::Nak && &result != &chosen &&
            result.settings.baud == chosen.settings.baud)
            others += (others.empty() ? "" : " and ") + std::string(GetParity(result.settings).name);
    return others.empty() ? "" : "It answers with " + others + ", too: if a transfer fails, try that.\n";
}

}  // namespace

std::vector<byte> GetProbeFrame() { return {STX, 0x20, 0x55, 0x55, 0x55, ETX}; }

std::vector<ProbeResult> ProbeLine(ProbedLine& line, const LineSettings& configured,
                                   const std::function<void(const ProbeResult& result)>& tell) {
    std::vector<ProbeResult> results;
    const auto probe = [&](const LineSettings& settings) {
        results.push_back(Try(line, settings));
        tell(results.back());
    };
    const auto probeParities = [&](long baud) {
        for (const LineParity& parity : lineParities) {
            const LineSettings settings{baud, configured.data, configured.stop, parity.letter};
            if (!IsSame(settings, configured)) probe(settings);
        }
    };
    probe(configured);
    if (results[0].answer == Answer::Echo) return results;
    if (results[0].answer == Answer::Nak) {
        probeParities(configured.baud);
        return results;
    }
    for (const LineSpeed& speed : lineSpeeds) {
        probeParities(speed.baud);
        if (FindAnswer(results) != nullptr) break;
    }
    return results;
}

std::string Describe(const ProbeResult& result) {
    std::string text = DescribeSettings(result.settings) + ": " + DescribeAnswer(result);
    const struct {
        unsigned count;
        const char* name;
    } errors[] = {{result.errors.parity, "parity errors"},
                  {result.errors.framing, "framing errors"},
                  {result.errors.overrun, "overruns"}};
    for (const auto& error : errors)
        if (error.count > 0) text += Format(", %u %s", error.count, error.name);
    return text;
}

const ProbeResult* FindAnswer(const std::vector<ProbeResult>& results) {
    const ProbeResult* best = nullptr;
    for (const ProbeResult& result : results)
        if (result.answer == Answer::Nak && (best == nullptr || CountErrors(result) < CountErrors(*best)))
            best = &result;
    return best;
}

std::string Advise(const std::vector<ProbeResult>& results, const std::string& iniFile) {
    const ProbeResult* const found = FindAnswer(results);
    if (found != nullptr) {
        const std::string setting = "ComSettings = " + ToComSettings(found->settings) + "\n";
        const std::string others = OtherParities(results, *found);
        if (found == &results[0])
            return "The register answers with the settings in use:\n" + setting + others;
        return "The register answers with other settings than those in use. Write this line above the first "
               "section "
               "heading of " +
               Printable(iniFile) + ":\n" + setting + others;
    }
    const auto came = [&](Answer answer) {
        return std::any_of(results.begin(), results.end(),
                           [&](const ProbeResult& result) { return result.answer == answer; });
    };
    if (came(Answer::Echo))
        return "The line gives back what is sent: switch off the echo of the adapter, or remove the "
               "loop-back plug.\n";
    const LineSettings& line = results[0].settings;
    const std::string tried = Format("Tried were %d data bits and %d stop bit%s; ComSettings names others.\n",
                                     line.data, line.stop, line.stop == 1 ? "" : "s");
    if (came(Answer::Other))
        return "Something sends, but answers with no speed and parity: is it the register, and no other "
               "device? Are "
               "cable and ground sound? " +
               tried;
    return "Nothing answers: switch the register on, and its communication with a computer; check that the "
           "cable is "
           "in the right ports and crosses the lines. " +
           tried;
}
