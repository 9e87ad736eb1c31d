#include "ContentDiagnosis.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "Byte.h"
#include "Defaults.h"
#include "Format.h"

namespace {

constexpr const char* convertCommand =
    "convert IN -background white -flatten -resize 384x -colorspace gray -threshold 50% -type bilevel "
    "BMP3:OUT.bmp";

/** What files of other programs begin with. */
const struct {
    std::string start;
    const char* name;
    bool isPicture;
} otherFiles[] = {{"\xFF\xFE", "UTF-16, of two bytes a letter", false},
                  {"\xFE\xFF", "UTF-16, of two bytes a letter", false},
                  {"PK\3\4", "a ZIP archive, as the documents of spreadsheets (xlsx, ods) are", false},
                  {"\xD0\xCF\x11\xE0", "a document of an old office program (xls)", false},
                  {"%PDF", "a PDF document", false},
                  {"\x1F\x8B", "compressed by gzip", false},
                  {"\x89PNG", "a PNG picture", true},
                  {"\xFF\xD8\xFF", "a JPEG picture", true},
                  {"GIF8", "a GIF picture", true},
                  {"II*", "a TIFF picture", true},
                  {std::string("MM\0*", 4), "a TIFF picture", true}};

/** A number of the bitmap's header, low byte first; docs/bitmaps.md. */
unsigned NumberAt(const std::string& header, size_t offset, size_t size) {
    unsigned value = 0;
    for (size_t i = 0; i < size; i++)
        value |= static_cast<unsigned>(static_cast<byte>(header[offset + i])) << (8 * i);
    return value;
}

std::vector<Finding> DiagnosePicture(const std::string& header) {
    constexpr size_t widthOffset = 18;
    constexpr size_t bitsOffset = 28;
    constexpr size_t headerSize = 30;
    std::vector<Finding> findings;
    if (header.size() < headerSize || header.compare(0, 2, "BM") != 0) return findings;
    const unsigned bits = NumberAt(header, bitsOffset, 2);
    const unsigned width = NumberAt(header, widthOffset, 4);
    const std::string mend = std::string(": ") + convertCommand + " makes one that fits";
    if (bits != 1)
        findings.push_back({false, 0, 0, 0, Format("the picture has %u bits a pixel, not 1", bits) + mend});
    if (width > commIoBufferSize)
        findings.push_back(
            {false, 0, 0, 0,
             Format("the picture is %u pixels wide and is cut at %d", width, commIoBufferSize) + mend});
    return findings;
}

}  // namespace

std::vector<Finding> DiagnoseContent(const std::string& filename, const FileKind& kind) {
    struct stat status {};
    if (stat(filename.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};  // a pipe would be waited for
    std::ifstream file(filename, std::ios::binary);
    if (!file) return {};
    std::string start(64, '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    if (start.empty()) return {{false, 0, 0, 0, "the file is empty"}};
    for (const auto& other : otherFiles)
        if (start.compare(0, other.start.size(), other.start) == 0 && (other.isPicture || kind.hasLines))
            return {
                {false, 0, 0, 0,
                 std::string("the file is ") + other.name + ": " +
                     (other.isPicture ? std::string("a logo is a bitmap, ") + convertCommand + " makes one"
                                      : "export it as CSV, in the register's code page")}};
    return kind.isPicture ? DiagnosePicture(start) : std::vector<Finding>();
}
