#include "IniFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "Exceptions.h"
#include "Format.h"
#include "System/Output.h"
#include "Tools.h"
#include "Wrapper/LinuxFunctionWrapper.h"

namespace {

std::string iniFile;
std::string section;

constexpr size_t maxValueLength = 255;
constexpr const char* whiteSpace = " \t\n\v\f\r";

/** The line of this text, which stands in a section unless it opens another one. */
IniLine ParseLine(const std::string& text, const std::string& sectionName) {
    IniLine line;
    line.section = sectionName;
    line.text = text;
    const size_t start = text.find_first_not_of(whiteSpace);
    if (start == std::string::npos) return line;
    const size_t end = text.find(']', start);
    const size_t separator = text.find('=');
    line.isHeading = text[start] == '[' && end != std::string::npos;
    if (line.isHeading) {
        line.section = Trim(text.substr(start + 1, end - start - 1), whiteSpace);
    } else if (separator != std::string::npos) {
        line.key = Trim(text.substr(0, separator), whiteSpace);
        // the raw text is cut first and trimmed afterwards
        line.value = Trim(text.substr(separator + 1, maxValueLength), whiteSpace);
    }
    return line;
}

/** The key's value; of several lines with one key the last one counts, also over repeated headings. */
std::optional<std::string> Lookup(const std::string& sectionName, const std::string& key) {
    std::optional<std::string> value;
    IniFile::VisitLines([&](const IniLine& line) {
        if (line.key && IniFile::IsSameName(*line.key, key) && IniFile::IsSameName(line.section, sectionName))
            value = line.value;
    });
    return value;
}

bool HasSection(const std::string& name) {
    bool found = false;
    IniFile::VisitLines([&](const IniLine& line) {
        found = found || (line.isHeading && IniFile::IsSameName(line.section, name));
    });
    return found;
}

}  // namespace

void IniFile::SetFile(const std::string& iniFilePath, bool checkIfExists) {
    if (checkIfExists && !File::Exists(iniFilePath))
        throw new ConfigurationException("INI-file '" + Printable(iniFilePath) + "' not found");
    iniFile = iniFilePath;
}

void IniFile::SetSection(const std::string& sectionName, bool checkIfExists) {
    if (checkIfExists && !HasSection(sectionName))
        throw new ConfigurationException("INI-file section [" + Printable(sectionName) + "] not found");
    section = sectionName;
}

std::string IniFile::GetFile() { return iniFile; }

std::optional<IniText> IniFile::ReadText() {
    const FileStream file = OpenForReading();
    if (!file) return std::nullopt;
    IniText read;
    int c = EOF;
    while (read.text.size() < UINT32_MAX && (c = getc_unlocked(file.get())) != EOF && c != 26 && c != '\0')
        read.text += static_cast<char>(c);
    if (read.text.size() >= UINT32_MAX) Print("INI file is too large");
    if (std::ferror(file.get()) != 0 || read.text.size() >= UINT32_MAX) return std::nullopt;
    if (c != EOF) read.end = static_cast<char>(c);
    return read;
}

FileStream IniFile::OpenForReading() {
    FILE* file = nullptr;
    fopen_s(&file, iniFile.c_str(), "rb");
    if (file == nullptr && (errno == EMFILE || errno == ENFILE || errno == ENOMEM))
        throw new SystemException("Unable to open INI-file '" + Printable(iniFile) + "'");
    return FileStream(file);
}

std::string IniFile::GetSection() { return section; }

void IniFile::VisitLines(const std::function<void(const IniLine& line)>& visit) {
    const std::optional<IniText> read = ReadText();
    if (!read || read->end == '\0') return;
    const std::string& text = read->text;
    std::string current;
    int number = 1;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of("\n\r\f", start), text.size());
        IniLine line = ParseLine(text.substr(start, end - start), current);
        line.number = number;
        visit(line);
        current = line.section;
        if (end < text.size() && text[end] == '\n') number++;
        start = end + 1;
    }
}

bool IniFile::IsSameName(const std::string& a, const std::string& b) { return ToUpper(a) == ToUpper(b); }

std::string IniFile::GetString(const std::string& sectionName, const std::string& key,
                               const std::string& defValue) {
    return Lookup(sectionName, key).value_or(defValue);
}

std::string IniFile::GetString(const std::string& key, const std::string& defValue) {
    return GetString(section, key, defValue);
}

int IniFile::GetNumber(const std::string& sectionName, const std::string& key, int defValue) {
    const std::optional<std::string> value = Lookup(sectionName, key);
    return value ? ToInt(*value) : defValue;
}

int IniFile::GetNumber(const std::string& key, int defValue) { return GetNumber(section, key, defValue); }

bool IniFile::ContainsKey(const std::string& sectionName, const std::string& key) {
    return !GetString(sectionName, key, "").empty();
}

bool IniFile::ContainsKey(const std::string& key) { return ContainsKey(section, key); }

void IniFile::SetString(const std::string&, const std::string&, const std::string&) {}
