#include "Recording.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "EcrComm/CommChannels/TcFrameBytes.h"
#include "Exceptions.h"
#include "Files/SourceFile.h"
#include "Format.h"
#include "Tools.h"

namespace {

constexpr Time pauseInLine = 3'000;  // a longer one begins a new line, so that a replay keeps it

}  // namespace

Recording::Recording(const std::string& path, bool arePasswordsShown)
    : m_receivedMask(!arePasswordsShown), m_sentMask(!arePasswordsShown) {
    m_file.KeepPrivate();
    m_file.Open(path);
}

void Recording::Write(const std::string& text) { m_file.Write(text.data(), text.size()); }

std::string Recording::Stamp(Time now) {
    if (m_start == never) m_start = now;
    return Format("%lld.%06lld", static_cast<long long>((now - m_start) / 1'000'000),
                  static_cast<long long>((now - m_start) % 1'000'000));
}

void Recording::EndLine() {
    if (m_direction != '\0') Write("\n");
    m_direction = '\0';
}

void Recording::AddBytes(char direction, const std::vector<byte>& bytes, PasswordMask& mask, Time now) {
    if (bytes.empty()) return;
    if (direction != m_direction || now - m_lastByteTime > pauseInLine) {
        EndLine();
        Write(Stamp(now) + " " + direction);
        m_direction = direction;
    }
    m_lastByteTime = now;
    Write(mask.ToText(bytes));
}

void Recording::AddHangUp(Time now) {
    EndLine();
    Write(Stamp(now) + " hung up\n");
}

void Recording::AddMeaning(const std::string& text) {
    EndLine();
    Write("    " + text + "\n");
}

Replay::Replay(const std::string& path) : m_path(path) {
    SourceFile().Open(path);  // for its message
    std::ifstream file(path);
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        number++;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == ' ') continue;
        Entry entry{number, 0, Kind::HangUp, {}};
        if (!ParseLine(line, entry))
            throw new FileIoException(
                Format("File '%s' line %d: no line of a recording", path.c_str(), number));
        m_entries.push_back(entry);
    }
    if (m_entries.empty()) throw new FileIoException("File '" + path + "' has no line of a recording");
}

bool Replay::ParseLine(const std::string& text, Entry& entry) const {
    std::istringstream words(text);
    double seconds = 0;
    std::string kind;
    if (!(words >> seconds >> kind) || seconds < 0 || seconds > 1e9) return false;
    entry.time = static_cast<Time>(seconds * 1'000'000);
    if (!m_entries.empty() && entry.time < m_entries.back().time) return false;
    if (kind == "hung") return text.size() > 7 && text.compare(text.size() - 7, 7, "hung up") == 0;
    if (kind != "<" && kind != ">") return false;
    entry.kind = kind == "<" ? Kind::Received : Kind::Sent;
    for (std::string word; words >> word;) {
        char* end = nullptr;
        const unsigned long value = std::strtoul(word.c_str(), &end, 16);
        const bool isHidden = word == PasswordMask::hidden;
        if (!isHidden && (*end != '\0' || value > 255)) return false;
        entry.bytes.push_back(isHidden ? hiddenBytes : static_cast<int>(value));
    }
    return !entry.bytes.empty();
}

void Replay::ThrowDeparture(const std::string& what) const {
    const std::string place =
        m_next < m_entries.size() ? Format("line %d", m_entries[m_next].line) : "the end";
    throw new ApplicationException(
        Format("'%s': at %s the tool departs from the recording: ", m_path.c_str(), place.c_str()) + what,
        ReturnCode_CommunicationError);
}

void Replay::Advance(Time now) {
    const Time time = m_entries[m_next++].time;
    m_taken = 0;
    m_due = m_next < m_entries.size() ? now + m_entries[m_next].time - time : never;
}

void Replay::Receive(byte value, Time now) {
    m_early.push_back(value);
    TakeEarly(now);
}

void Replay::TakeEarly(Time now) {
    while (!m_early.empty() && Take(m_early.front(), now)) m_early.pop_front();
}

bool Replay::Take(byte value, Time now) {
    int expected = hiddenBytes;
    while (expected == hiddenBytes) {
        if (IsNext(Kind::Sent)) return false;
        if (IsNext(Kind::HangUp)) Advance(now);  // it has, and was back before it was missed
        if (!IsNext(Kind::Received)) ThrowDeparture(Format("it sends %02x", value));
        const Entry& entry = m_entries[m_next];
        expected = entry.bytes[m_taken];
        if (expected == hiddenBytes && value != STX && value != ETX) return true;
        if (expected != hiddenBytes && expected != value)
            ThrowDeparture(
                Format("byte %zu is %02x, not %02x", m_taken + 1, value, static_cast<unsigned>(expected)));
        if (++m_taken == entry.bytes.size()) Advance(now);
    }
    return true;
}

void Replay::Tick(Time now) {
    do {
        TakeEarly(now);
        while (IsNext(Kind::Sent) && m_due <= now) {
            for (const int value : m_entries[m_next].bytes)
                if (value != hiddenBytes) m_output.push_back(static_cast<byte>(value));
            Advance(m_due);
        }
    } while (!m_early.empty() && !IsNext(Kind::Sent));
}

Time Replay::GetDeadline() const { return IsNext(Kind::Sent) ? m_due : never; }

std::vector<byte> Replay::TakeOutput() {
    std::vector<byte> output;
    output.swap(m_output);
    return output;
}

void Replay::HangUp() {
    while (IsNext(Kind::Received) && m_entries[m_next].bytes[m_taken] == hiddenBytes)
        if (++m_taken == m_entries[m_next].bytes.size()) Advance(0);
    // A recording does not have every one: a tool that is back at once was not missed, and its next session
    // may begin in the middle of a line.
    const bool isBetweenSessions = IsNext(Kind::Received) && m_entries[m_next].bytes[m_taken] == STX;
    if (IsNext(Kind::HangUp))
        Advance(0);
    else if (m_next < m_entries.size() && !isBetweenSessions)
        ThrowDeparture("it hangs up");
    m_isDone = m_next >= m_entries.size();
}
