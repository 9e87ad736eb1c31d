#include "Delimiter.h"

#include <algorithm>

#include "Decimal.h"
#include "Format.h"
#include "Formatting/TextDataParser.h"
#include "Tools.h"

namespace {

/** Whether each quote inside of the outer ones is written twice. */
bool IsClosedText(const std::string& text) {
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') return false;
    for (size_t i = 1; i + 1 < text.size(); i++)
        if (text[i] == '"' && (i + 2 == text.size() || text[++i] != '"')) return false;
    return true;
}

/** How many lines begin with a field, and how many with something else. */
struct Count {
    size_t fields = 0;
    size_t others = 0;
};

Count CountBeginnings(const std::vector<std::string>& lines, char delimiter) {
    Count count;
    for (const std::string& line : lines) {
        if (line.empty()) continue;
        const Beginning beginning = GetBeginning(line, delimiter);
        count.fields += beginning == Beginning::Field ? 1 : 0;
        count.others += beginning == Beginning::NoField ? 1 : 0;
    }
    return count;
}

}  // namespace

Beginning GetBeginning(const std::string& line, char delimiter) {
    const size_t size = std::min(line.size(), maxLineLength);  // a corrected file may have longer ones
    TextDataParser fields(reinterpret_cast<const byte*>(line.data()), static_cast<uint16_t>(size), delimiter);
    const FieldType type = fields.GetFieldType();
    const std::string text = Trim(fields.GetFieldText(), " \t");
    Decimal number;
    char taken[maxLineLength + 1];
    const bool isField = type == FieldType_Number
                             ? fields.GetNumber(number)
                             : IsClosedText(text) && fields.GetString(taken, sizeof taken);
    if (!isField) return Beginning::NoField;
    const bool isLast = fields.GetFieldType() == FieldType_None;
    return isLast && line[size - 1] != delimiter ? Beginning::Whole : Beginning::Field;
}

std::optional<char> FindOtherDelimiter(const std::vector<std::string>& lines, char delimiter) {
    const size_t own = CountBeginnings(lines, delimiter).fields;
    for (const char other : {';', '\t', '|', ','}) {
        const Count count = CountBeginnings(lines, other);
        if (other != delimiter && count.fields > own && count.fields > count.others) return other;
    }
    return std::nullopt;
}

std::string NameOfDelimiter(char delimiter) {
    return delimiter == '\t' ? "tab" : "'" + Printable({delimiter}) + "'";
}
