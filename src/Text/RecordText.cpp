#include "Text/RecordText.h"

#include "DataConverter.h"
#include "Defaults.h"
#include "Format.h"
#include "Formatting/BinaryDataParser.h"
#include "Formatting/TextDataFormatter.h"

namespace {

/** Block characters by which of the four quarters are dark: 1 top left, 2 top right, 4 bottom left, 8 bottom
 * right. */
constexpr const char* blocks[] = {" ", "▘", "▝", "▀", "▖", "▌", "▞", "▛",
                                  "▗", "▚", "▐", "▜", "▄", "▙", "▟", "█"};

/** By FieldType. */
constexpr const char* kindNames[] = {"", "text ", "number ", "binary ", ""};

/** Bytes of a record that is one binary field and nothing else. */
std::optional<Record> PixelsOf(const Record& record) {
    BinaryDataParser parser(record.data(), static_cast<uint16_t>(record.size()));
    Record pixels(255);
    uint16_t size = 0;
    if (!parser.GetBinary(pixels.data(), static_cast<uint16_t>(pixels.size()), size) ||
        parser.GetFieldType() != FieldType_None)
        return std::nullopt;
    pixels.resize(size);
    return pixels;
}

}  // namespace

std::optional<std::string> TextOf(const Record& record) {
    byte text[fileIoBufferSize];
    BinaryDataParser parser(record.data(), static_cast<uint16_t>(record.size()));
    TextDataFormatter formatter(text, sizeof text, *defaultCsvDelimiter);
    if (!DataConverter::Convert(parser, formatter)) return std::nullopt;
    return std::string(text, text + formatter.GetLength());
}

std::string DescribeFields(const Record& record) { return Printable(TextOf(record).value_or("malformed")); }

std::string DescribeKinds(const Record& record) {
    std::string text;
    BinaryDataParser parser(record.data(), static_cast<uint16_t>(record.size()));
    for (FieldType type; (type = parser.GetFieldType()) != FieldType_None;) {
        byte field[fileIoBufferSize];
        TextDataFormatter formatter(field, sizeof field, *defaultCsvDelimiter);
        if (!text.empty()) text += ", ";
        if (!DataConverter::ConvertField(type, parser, formatter)) return text + "malformed";
        text += kindNames[type] + Printable({field, field + formatter.GetLength()});
    }
    return text;
}

std::optional<std::string> DrawPicture(const std::vector<Record>& rows) {
    std::vector<Record> picture;
    for (const Record& row : rows) {
        const std::optional<Record> pixels = PixelsOf(row);
        if (!pixels) return std::nullopt;
        picture.push_back(*pixels);
        if (pixels->size() != picture.front().size()) return std::nullopt;
    }
    if (picture.empty()) return std::nullopt;
    const auto isDark = [&](size_t x, size_t y) {
        return y < picture.size() && (picture[y][x / 8] >> x % 8 & 1) != 0;
    };
    std::string text;
    for (size_t y = 0; y < picture.size(); y += 2) {
        for (size_t x = 0; x < picture.front().size() * 8; x += 2)
            text += blocks[(isDark(x, y) ? 1 : 0) + (isDark(x + 1, y) ? 2 : 0) + (isDark(x, y + 1) ? 4 : 0) +
                           (isDark(x + 1, y + 1) ? 8 : 0)];
        text += "\n";
    }
    return text;
}
