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
#include "TextFile.h"

namespace {

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

/** A carriage return alone ends a line, too, but not inside of quotes where others end by a line feed. */
std::vector<TextLine> Split(const std::string& text) {
    std::vector<TextLine> lines;
    const bool hasLineFeeds = text.find('\n') != std::string::npos;
    bool isQuoted = false;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '"') isQuoted = !isQuoted;
        const bool isPair = text.compare(i, 2, "\r\n") == 0;
        if (text[i] != '\n' && !isPair && (text[i] != '\r' || (isQuoted && hasLineFeeds))) continue;
        lines.push_back({text.substr(start, i - start), isPair ? "\r\n" : text.substr(i, 1)});
        i += isPair ? 1 : 0;
        start = i + 1;
        isQuoted = false;
    }
    if (start < text.size()) lines.push_back({text.substr(start), ""});
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
    return field.size() <= TextDataParser::maxFieldLength && std::regex_match(field, form);
}

/** Whether the comma may as well stand for thousands. */
bool IsGroup(const std::string& field) {
    static const std::regex form(R"([ \t]*-?[1-9]\d{0,2},\d{3}[ \t]*)");
    return IsDecimalComma(field) && std::regex_match(field, form);
}

/** Whether numbers show that the file's commas are decimal ones. */
bool HasDecimalCommas(const std::vector<std::string>& lines, char delimiter) {
    for (const std::string& line : lines)
        for (const std::string& field : SplitFields(line, delimiter))
            if (IsDecimalComma(field) && !IsGroup(field)) return true;
    return false;
}

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/** What is done to each line. */
class Fixer {
public:
    Fixer(char from, char to, bool hasDecimalCommas, const Converter* converter, FixedText& fixed)
        : m_from(from),
          m_to(to),
          m_hasDecimalCommas(hasDecimalCommas),
          m_converter(converter),
          m_fixed(fixed) {}

    void Fix(const TextLine& line, int number) {
        m_changes.clear();
        std::string text = line.text;
        const std::string obstacle = FixFields(text);
        if (!obstacle.empty()) {
            m_changes.clear();
            text = line.text;
            m_fixed.left.push_back({false, number, 0, 0, "left as it is: " + obstacle});
        }
        m_fixed.text += ConvertLetters(text, number);
        const bool isBareReturn = line.end == "\r";
        if (isBareReturn) m_changes.emplace_back("line end");
        m_fixed.text += isBareReturn ? "\n" : line.end;
        for (const std::string& change : m_changes) m_fixed.changes.push_back({false, number, 0, 0, change});
    }

private:
    std::string ConvertLetters(const std::string& text, int number) {
        if (m_converter == nullptr || IsAscii(text)) return text;
        const std::optional<std::string> converted = m_converter->Convert(text);
        if (converted)
            m_changes.emplace_back("letters converted");
        else
            m_fixed.left.push_back({false, number, 0, 0, "left as it is: a letter is not in the code page"});
        return converted.value_or(text);
    }

    /** Returns why the line must stay as it is; empty when it need not. */
    std::string FixFields(std::string& line) {
        std::vector<std::string> fields = SplitFields(line, m_from);
        line.clear();
        for (size_t i = 0; i < fields.size(); i++) {
            if (m_from != ',' && IsGroup(fields[i]) && !m_hasDecimalCommas)
                return Format("the comma in field %zu may stand for thousands", i + 1);
            if (m_from != ',' && IsDecimalComma(fields[i])) {
                std::replace(fields[i].begin(), fields[i].end(), ',', '.');
                m_changes.push_back(Format("decimal comma in field %zu is a point now", i + 1));
            }
            if (m_from != m_to && SplitFields(fields[i], m_to).size() > 1)
                return Format("the delimiter stands in field %zu, which has no quotes", i + 1);
            line += (i == 0 ? "" : std::string(1, m_to)) + fields[i];
        }
        if (m_from != m_to && fields.size() > 1) m_changes.emplace_back("delimiter");
        return "";
    }

    char m_from;
    char m_to;
    bool m_hasDecimalCommas;
    const Converter* m_converter;  // null: letters stay as they are
    FixedText& m_fixed;
    std::vector<std::string> m_changes;  // of the line
};

}  // namespace

FixedText FixText(const std::string& text, const std::string& codePage) {
    FixedText fixed;
    const bool hasMark = text.compare(0, 3, byteOrderMark) == 0;
    if (hasMark) fixed.changes.push_back({false, 1, 0, 0, "byte-order mark removed"});
    const std::vector<TextLine> lines = Split(text.substr(hasMark ? 3 : 0));
    std::vector<std::string> texts;
    texts.reserve(lines.size());
    for (const TextLine& line : lines) texts.push_back(line.text);
    const Coding coding = FindCoding(texts);
    const Converter converter(codePage);
    const bool isConverted = converter.IsOn() && coding.utf8Line > 0 && coding.otherLine == 0;
    if (converter.IsOn() && coding.utf8Line > 0 && !isConverted)
        fixed.left.push_back({false, coding.otherLine, 0, 0,
                              "left as they are: letters that are no UTF-8, on account of which none is "
                              "converted"});
    const char delimiter = ConfiguredDelimiter();
    const char from = FindOtherDelimiter(texts).value_or(delimiter);
    Fixer fixer(from, delimiter, HasDecimalCommas(texts, from), isConverted ? &converter : nullptr, fixed);
    for (size_t i = 0; i < lines.size(); i++) fixer.Fix(lines[i], static_cast<int>(i) + 1);
    return fixed;
}
