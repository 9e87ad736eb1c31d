#include "Fix.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <utility>

#include "Delimiter.h"
#include "Exceptions.h"
#include "Format.h"
#include "Formatting/TextDataParser.h"
#include "Pattern.h"
#include "SpreadsheetForm.h"
#include "TextFile.h"
#include "Tools.h"

namespace {

/** Of a letter in UTF-8. */
bool IsFirstByte(char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }

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
        const auto letters = std::count_if(text.begin(), text.end(), IsFirstByte);
        return converted.size() == static_cast<size_t>(letters) ? std::optional(converted) : std::nullopt;
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

std::vector<std::string> TextsOf(const std::vector<TextLine>& lines) {
    std::vector<std::string> texts;
    texts.reserve(lines.size());
    for (const TextLine& line : lines) texts.push_back(line.text);
    return texts;
}

bool IsBefore(const Finding& a, const Finding& b) { return a.line < b.line; }

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
    static const Pattern form(R"([ \t]*-?\d+,\d+[ \t]*)");
    return field.size() <= TextDataParser::maxFieldLength && form.Matches(field);
}

/** Whether the comma may as well stand for thousands. */
bool IsGroup(const std::string& field) {
    static const Pattern form(R"([ \t]*-?[1-9]\d{0,2},\d{3}[ \t]*)");
    return IsDecimalComma(field) && form.Matches(field);
}

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

/** Whether its points, if they are none of decimals, stand for thousands. */
bool IsPointGroup(const std::string& field) {
    static const Pattern form(R"([ \t]*-?[1-9]\d{0,2}(\.\d{3})+[ \t]*)");
    return field.size() <= TextDataParser::maxFieldLength && form.Matches(field);
}

/** Whether one of the two can only stand for thousands, and the other for decimals. */
bool IsGroupedDecimal(const std::string& field) {
    static const Pattern form(R"([ \t]*-?[1-9]\d{0,2}((\.\d{3})+,|(,\d{3})+\.)\d+[ \t]*)");
    return field.size() <= TextDataParser::maxFieldLength && form.Matches(field);
}

/** Whether numbers show that the file's commas are decimal ones. */
bool HasDecimalCommas(const std::vector<std::string>& lines, char delimiter) {
    for (const std::string& line : lines)
        for (const std::string& field : SplitFields(line, delimiter))
            if ((IsDecimalComma(field) && !IsGroup(field)) ||
                (IsGroupedDecimal(field) && field.rfind(',') > field.rfind('.')))
                return true;
    return false;
}

/** The number of fields that most lines have; of two such the smaller one. */
size_t FindUsualWidth(const std::vector<std::string>& lines, char delimiter) {
    std::map<size_t, size_t> counts;
    for (const std::string& line : lines) counts[SplitFields(line, delimiter).size()]++;
    const auto usual = std::max_element(counts.begin(), counts.end(),
                                        [](const auto& a, const auto& b) { return a.second < b.second; });
    return usual == counts.end() ? 0 : usual->first;
}

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/** The first letter of a text in UTF-8 that the code page does not have. */
std::string FindLacking(const std::string& text, const Converter& converter) {
    for (size_t i = 0, length; i < text.size(); i += length) {
        length = std::max<size_t>(Utf8Length(text, i), 1);
        if (!converter.Convert(text.substr(i, length))) return text.substr(i, length);
    }
    return "";
}

/** Puts letters into the code page, all of the file that are in it, or none. */
void ConvertLetters(std::vector<TextLine>& lines, const Converter& converter, FixedText& fixed) {
    const Coding coding = FindCoding(TextsOf(lines));
    if (!converter.IsOn() || coding.utf8Line == 0) return;
    const auto leave = [&](int line, const char* why) {
        fixed.left.push_back({false, line, 0, 0, std::string("left as ") + why});
    };
    if (coding.otherLine > 0)
        return leave(coding.otherLine,
                     "they are: letters that are no UTF-8, on account of which none is converted");
    std::vector<TextLine> result = lines;
    std::vector<Finding> changes;
    std::vector<std::pair<int, std::string>> lacking;  // line and letter
    for (size_t i = 0; i < lines.size(); i++) {
        if (IsAscii(lines[i].text)) continue;
        const std::optional<std::string> text = converter.Convert(lines[i].text);
        if (text) result[i].text = *text;
        if (text) changes.push_back({false, static_cast<int>(i) + 1, 0, 0, "letters converted"});
        if (!text) lacking.emplace_back(static_cast<int>(i) + 1, FindLacking(lines[i].text, converter));
    }
    const Coding after = FindCoding(TextsOf(result));
    const bool hasMark = !result.empty() && result[0].text.compare(0, 3, byteOrderMark) == 0;
    if (!changes.empty() && (hasMark || (after.utf8Line > 0 && after.otherLine == 0)))
        return leave(changes[0].line, "they are: converted, letters would look like UTF-8 again");
    lines = result;
    fixed.changes.insert(fixed.changes.end(), changes.begin(), changes.end());
    for (const auto& [line, letter] : lacking)
        leave(line, ("it is: the letter '" + letter + "' is not in the code page").c_str());
}

/** One pass over the fields of the lines. */
class Fixer {
public:
    Fixer(std::vector<TextLine>& lines, char delimiter) : m_lines(lines), m_to(delimiter) {
        const std::vector<std::string> texts = TextsOf(lines);
        m_from = FindOtherDelimiter(texts, m_to).value_or(m_to);
        m_hasDecimalCommas = m_from != ',' && HasDecimalCommas(texts, m_from);
        m_width = FindUsualWidth(texts, m_from);
    }

    /** Adds what it does, and keeps which fields keep a line as it is; false when it does nothing. */
    bool Fix(std::vector<Finding>& changes, std::map<int, Finding>& obstacles) {
        bool isChanged = false;
        for (size_t i = 0; i < m_lines.size(); i++) {
            const int number = static_cast<int>(i) + 1;
            m_changes.clear();
            std::string text = m_lines[i].text;
            if (const Finding obstacle = FixFields(text); !obstacle.cause.empty()) {
                obstacles[number] = {false, number, obstacle.field, 0, "left as it is: " + obstacle.cause};
                continue;
            }
            if (m_changes.empty()) continue;
            isChanged = true;
            m_lines[i].text = text;
            obstacles.erase(number);  // of an earlier pass
            for (const std::string& change : m_changes) changes.push_back({false, number, 0, 0, change});
        }
        return isChanged;
    }

private:
    /** Returns why the line must stay as it is; without a cause when it need not. */
    Finding FixFields(std::string& line) {
        std::vector<std::string> fields = SplitFields(line, m_from);
        if (fields.size() == 1) return {};
        if (std::count(line.begin(), line.end(), '"') % 2 != 0)
            return {false, 0, static_cast<int>(fields.size()), 0,
                    "the text is not closed: take a line break out of the cell"};
        const bool isRecord = GetBeginning(line, m_from) == Beginning::Field;  // no heading
        line.clear();
        for (size_t i = 0; i < fields.size(); i++) {
            const int number = static_cast<int>(i) + 1;
            const std::string obstacle =
                FixField(fields[i], number, isRecord && i > 0, fields.size() > m_width);
            if (!obstacle.empty()) return {false, 0, number, 0, obstacle};
            line += (i == 0 ? "" : std::string(1, m_to)) + fields[i];
        }
        if (m_from != m_to) m_changes.emplace_back("delimiter");
        return {};
    }

    /** Returns why the line must stay as it is; empty when it need not for this field. */
    std::string FixField(std::string& field, int number, bool mayLackQuotes, bool isWide) {
        const std::string text = Trim(field, " \t");
        const bool isCommaFree = m_from != ',';
        if (isCommaFree && IsGroup(field) && !m_hasDecimalCommas) return "the comma may stand for thousands";
        if (m_hasDecimalCommas && IsPointGroup(field))
            return "the point may stand for thousands: format the column without thousands separators";
        if (isCommaFree && IsGroupedDecimal(field)) {
            const size_t point = field.find_last_of(".,");
            for (size_t i = point; i-- > 0;)
                if (field[i] == '.' || field[i] == ',') field.erase(i, 1);
            field[field.find_last_of(".,")] = '.';
            m_changes.push_back(Format("separators in field %d are a point now", number));
        } else if (isCommaFree && IsDecimalComma(field)) {
            std::replace(field.begin(), field.end(), ',', '.');
            m_changes.push_back(Format("decimal comma in field %d is a point now", number));
        } else if (mayLackQuotes && IsBareText(text)) {
            if (isWide || text.find('"') != std::string::npos)
                return isWide
                           ? "a text without quotes, in a line of more fields than most: does the delimiter "
                             "stand in it?"
                           : "a text without quotes has some in it: write it in quotes, and those twice";
            field = Quoted(text);
            m_changes.push_back(Format("quotes around the text in field %d", number));
        } else if (m_from != m_to && SplitFields(field, m_to).size() > 1) {
            const std::string advice = AdviseOnSpreadsheetForm(text);
            return "the delimiter stands in it, and it has no quotes" + (advice.empty() ? "" : ": " + advice);
        }
        return "";
    }

    std::vector<TextLine>& m_lines;
    char m_from;
    char m_to;
    bool m_hasDecimalCommas;
    size_t m_width;
    std::vector<std::string> m_changes;  // of the line
};

}  // namespace

FixedText FixText(const std::string& text, char delimiter, const std::string& codePage) {
    FixedText fixed;
    size_t start = 0;
    while (text.compare(start, 3, byteOrderMark) == 0) start += 3;
    if (start > 0) fixed.changes.push_back({false, 1, 0, 0, "byte-order mark removed"});
    std::vector<TextLine> lines = Split(text.substr(start));
    FixedText letters;
    ConvertLetters(lines, Converter(codePage), letters);
    // until nothing changes, so that the copy has nothing left to be fixed: each pass takes delimiters other
    // than the wanted one away, or decimal commas
    std::map<int, Finding> obstacles;
    while (Fixer(lines, delimiter).Fix(fixed.changes, obstacles)) {
    }
    for (const auto& [line, obstacle] : obstacles) fixed.left.push_back(obstacle);
    fixed.changes.insert(fixed.changes.end(), letters.changes.begin(), letters.changes.end());
    fixed.left.insert(fixed.left.end(), letters.left.begin(), letters.left.end());
    for (size_t i = 0; i < lines.size(); i++) {
        if (lines[i].end != "\r") continue;
        lines[i].end = "\n";
        fixed.changes.push_back({false, static_cast<int>(i) + 1, 0, 0, "line end"});
    }
    for (const TextLine& line : lines) fixed.text += line.text + line.end;
    std::stable_sort(fixed.changes.begin(), fixed.changes.end(), IsBefore);
    std::stable_sort(fixed.left.begin(), fixed.left.end(), IsBefore);
    return fixed;
}
