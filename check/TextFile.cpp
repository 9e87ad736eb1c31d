#include "TextFile.h"

#include "Files/SourceFile.h"
#include "Formatting/TextDataParser.h"
#include "Tools.h"

namespace {

/** Column of the first letter of several bytes; 0 for plain ASCII, -1 for a line that is not UTF-8. */
int Utf8Column(const std::string& line, size_t start) {
    int column = 0;
    for (size_t i = start, length; i < line.size(); i += length) {
        length = Utf8Length(line, i);
        if (length == 0) return -1;
        if (length > 1 && column == 0) column = static_cast<int>(i) + 1;
    }
    return column;
}

}  // namespace

std::string ReadAll(const std::string& filename) {
    SourceFile file;
    file.Open(filename);
    std::string text(static_cast<size_t>(file.GetSize()), '\0');
    text.resize(file.Read(0, text.data(), text.size()));
    return text;
}

std::vector<std::string> ReadLines(const std::string& filename) {
    const std::string text = ReadAll(filename);
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t length = LineLength(text.data() + start, text.size() - start);
        const bool isCut = length == maxLineLength && text[start + length - 1] != '\n';
        lines.emplace_back(text, start, isCut ? length : TrimmedLength(text.data() + start, length));
        start += length;
    }
    return lines;
}

Coding FindCoding(const std::vector<std::string>& lines) {
    Coding coding;
    for (size_t i = 0; i < lines.size(); i++) {
        const bool hasMark = i == 0 && lines[i].compare(0, 3, byteOrderMark) == 0;
        const int column = Utf8Column(lines[i], hasMark ? 3 : 0);
        const int line = static_cast<int>(i) + 1;
        if (column < 0 && coding.otherLine == 0) coding.otherLine = line;
        if (column > 0 && coding.utf8Line == 0) {
            coding.utf8Line = line;
            coding.utf8Column = column;
        }
    }
    return coding;
}
