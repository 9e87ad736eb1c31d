#include "Fix.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <regex>

#include "Diagnosis.h"
#include "Exceptions.h"
#include "Format.h"
#include "Formatting/TextDataParser.h"
#include "Tools.h"

namespace {

constexpr const char* byteOrderMark = "\xEF\xBB\xBF";

/** From UTF-8 into a code page of one byte a letter. */
class Converter {
public:
    explicit Converter(const std::string& codePage) {
        if (codePage.empty()) return;
        m_context = iconv_open(codePage.c_str(), "UTF-8");
        if (!IsOn()) throw new CommandLineException("there is no code page '" + Printable(codePage) + "'");
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() {
        if (IsOn()) iconv_close(m_context);
    }

    bool IsOn() const { return m_context != none; }
    /** Nothing for a text with a letter that the code page does not have. */
    std::optional<std::string> Convert(std::string text) const {
        std::string converted(text.size(), '\0');
        char* from = text.data();
        size_t fromLeft = text.size();
        char* to = converted.data();
        size_t toLeft = converted.size();
        // a count above 0: of letters that were replaced
        if (iconv(m_context, &from, &fromLeft, &to, &toLeft) != 0) return std::nullopt;
        converted.resize(converted.size() - toLeft);
        return converted;
    }

private:
    static inline const iconv_t none = reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr)
    iconv_t m_context = none;
};

/** A line without its end, and the end. */
struct TextLine {
    std::string text;
    std::string end;
};

std::vector<TextLine> Split(const std::string& text) {
    std::vector<TextLine> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        const size_t endLength = end == text.size() ? 0 : text.compare(end, 2, "\r\n") == 0 ? 2 : 1;
        lines.push_back({text.substr(start, end - start), text.substr(end, endLength)});
        start = end + endLength;
    }
    return lines;
}

/** The fields as they stand between the delimiters, which count outside of quotes only. */
std::vector<std::string> SplitFields(const std::string& line, char delimiter) {
    std::vector<std::string> fields(1);
    bool isQuoted = false;
    for (const char c : line) {
        if (c == '"') isQuoted = !isQuoted;
        if (c == delimiter && !isQuoted)
            fields.emplace_back();
        else
            fields.back() += c;
    }
    return fields;
}

bool IsDecimalComma(const std::string& field) {
    static const std::regex form(R"([ \t]*-?\d+,\d+[ \t]*)");
    return std::regex_match(field, form);
}

/** Whether the comma may as well stand for thousands. */
bool IsGroup(const std::string& field) {
    static const std::regex form(R"([ \t]*-?[1-9]\d{0,2},\d{3}[ \t]*)");
    return std::regex_match(field, form);
}

/** Whether numbers show that the file's commas are decimal ones. */
bool HasDecimalCommas(const std::vector<std::string>& lines, char delimiter) {
    for (const std::string& line : lines)
        for (const std::string& field : SplitFields(line, delimiter))
            if (IsDecimalComma(field) && !IsGroup(field)) return true;
    return false;
}

bool IsUtf8(const std::string& text) {
    for (size_t i = 0, length; i < text.size(); i += length)
        if ((length = Utf8Length(text, i)) == 0) return false;
    return true;
}

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/** What is done to each line. */
class Fixer {
public:
    Fixer(char from, char to, bool hasDecimalCommas, const Converter& converter, bool isUtf8,
          std::vector<Finding>& changes)
        : m_from(from),
          m_to(to),
          m_hasDecimalCommas(hasDecimalCommas),
          m_converter(converter),
          m_isUtf8(isUtf8),
          m_changes(changes) {}

    std::string Fix(const std::string& line, int number) {
        m_number = number;
        std::string text = FixFields(line);
        if (!m_converter.IsOn() || !m_isUtf8 || IsAscii(text)) return text;
        const std::optional<std::string> converted = m_converter.Convert(text);
        Note(!converted, converted ? "letters converted" : "left as it is: a letter is not in the code page");
        return converted.value_or(text);
    }

private:
    void Note(bool isBad, const std::string& what) { m_changes.push_back({isBad, m_number, 0, 0, what}); }

    std::string FixFields(const std::string& line) {
        std::vector<std::string> fields = SplitFields(line, m_from);
        std::string fixed;
        for (size_t i = 0; i < fields.size(); i++) {
            if (m_from != ',' && IsGroup(fields[i]) && !m_hasDecimalCommas) {
                Note(true, Format("left as it is: the comma in field %zu may stand for thousands", i + 1));
                return line;
            }
            if (m_from != ',' && IsDecimalComma(fields[i])) {
                std::replace(fields[i].begin(), fields[i].end(), ',', '.');
                Note(false, Format("decimal comma in field %zu is a point now", i + 1));
            }
            if (SplitFields(fields[i], m_to).size() > 1 && m_from != m_to) {
                Note(true,
                     Format("left as it is: the delimiter stands in field %zu, which has no quotes", i + 1));
                return line;
            }
            fixed += (i == 0 ? "" : std::string(1, m_to)) + fields[i];
        }
        if (m_from != m_to && fields.size() > 1) Note(false, "delimiter");
        return fixed;
    }

    char m_from;
    char m_to;
    bool m_hasDecimalCommas;
    const Converter& m_converter;
    bool m_isUtf8;
    std::vector<Finding>& m_changes;
    int m_number = 0;
};

}  // namespace

FixedText FixText(const std::string& text, const std::string& codePage) {
    FixedText fixed;
    const Converter converter(codePage);
    const bool hasMark = text.compare(0, 3, byteOrderMark) == 0;
    if (hasMark) fixed.changes.push_back({false, 1, 0, 0, "byte-order mark removed"});
    const std::vector<TextLine> lines = Split(text.substr(hasMark ? 3 : 0));
    std::vector<std::string> texts;
    texts.reserve(lines.size());
    for (const TextLine& line : lines) texts.push_back(line.text);
    const char delimiter = ConfiguredDelimiter();
    const char from = FindOtherDelimiter(texts).value_or(delimiter);
    Fixer fixer(from, delimiter, HasDecimalCommas(texts, from), converter, IsUtf8(text), fixed.changes);
    for (size_t i = 0; i < lines.size(); i++) {
        fixed.text += fixer.Fix(lines[i].text, static_cast<int>(i) + 1);
        const bool isBareReturn = lines[i].end == "\r";
        if (isBareReturn) fixed.changes.push_back({false, static_cast<int>(i) + 1, 0, 0, "line end"});
        fixed.text += isBareReturn ? "\n" : lines[i].end;
    }
    return fixed;
}
