#include "Files/BmpFile.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "Exceptions.h"
#include "System/FileStream.h"

namespace {

/** A little-endian number in the headers; docs/bitmaps.md. */
struct HeaderField {
    size_t offset;
    size_t size;
};

constexpr HeaderField bfType{0, 2};
constexpr HeaderField bfSize{2, 4};
constexpr HeaderField bfOffBits{10, 4};
constexpr HeaderField biSize{14, 4};
constexpr HeaderField biWidth{18, 4};
constexpr HeaderField biHeight{22, 4};
constexpr HeaderField biPlanes{26, 2};
constexpr HeaderField biBitCount{28, 2};
constexpr HeaderField biCompression{30, 4};
constexpr HeaderField biSizeImage{34, 4};
constexpr HeaderField firstColour{54, 4};  // blue, green, red, 0; the second one follows
constexpr size_t palette = firstColour.offset;
constexpr size_t headersSize = 62;

constexpr uint32_t bitmapMagic = 0x4D42;  // "BM"

uint32_t GetField(const byte* header, HeaderField field) {
    uint32_t value = 0;
    for (size_t i = field.size; i > 0; i--) value = value << 8 | header[field.offset + i - 1];
    return value;
}

void SetField(std::vector<byte>& header, HeaderField field, uint32_t value) {
    for (size_t i = 0; i < field.size; i++) header[field.offset + i] = static_cast<byte>(value >> (8 * i));
}

bool IsSupported(const byte* header) {
    return GetField(header, bfType) == bitmapMagic && GetField(header, biPlanes) == 1 &&
           GetField(header, biBitCount) == 1 && GetField(header, biCompression) == 0 &&
           // a negative height is a picture stored top-down, which is not understood
           GetField(header, biWidth) <= INT_MAX && GetField(header, biHeight) <= INT_MAX;
}

/** Reads the rows as they stand in the file; nothing is allocated before the file is known to hold them. */
std::vector<byte> ReadRows(const SourceFile& file, const std::string& filename, uint32_t offset,
                           uint64_t size) {
    if (size == 0) return {};  // wherever they are said to begin
    if (offset + size > static_cast<uint64_t>(file.GetSize())) ThrowReadError(filename, 0);
    std::vector<byte> rows(static_cast<size_t>(size));  // of a file with less than 2 GiB
    if (file.Read(static_cast<off_t>(offset), rows.data(), rows.size()) != size) ThrowReadError(filename, 0);
    return rows;
}

}  // namespace

byte SwapByte(byte b) {
    unsigned reversed = 0;
    for (int bit = 0; bit < 8; bit++) reversed = reversed << 1 | ((b >> bit) & 1U);
    return static_cast<byte>(reversed);
}

FileType BmpFileReader::GetType() { return FileType_BMP; }

int BmpFileReader::RowSize() const { return bitmapWidth / 8 + (bitmapWidth % 8 != 0 ? 1 : 0); }

void BmpFileReader::Open(const std::string& filename) {
    Close();
    ioFile.Open(filename);
    byte header[headersSize] = {};
    const size_t headerLength = ioFile.Read(0, header, sizeof header);
    if (!IsSupported(header)) throw new FileIoException("Wrong bitmap file format");
    if (headerLength < palette) ThrowReadError(filename, 0);

    bitmapHeight = static_cast<int>(GetField(header, biHeight));
    bitmapWidth = static_cast<int>(GetField(header, biWidth));
    const int stride = (RowSize() + 3) / 4 * 4;
    const std::vector<byte> rows =
        ReadRows(ioFile, filename, GetField(header, bfOffBits),
                 static_cast<uint64_t>(stride) * static_cast<uint64_t>(bitmapHeight));
    const bool isInverted = header[palette + 2] < header[palette + 6];  // entry 0 is the darker one
    ConvertRows(rows, stride, isInverted);
}

void BmpFileReader::ConvertRows(const std::vector<byte>& fileRows, int stride, bool isInverted) {
    const auto rowSize = static_cast<size_t>(RowSize());
    // Unused pixels of a row's last byte are set before the inversion, so they arrive as 1 or, with an
    // inverted palette, as 0. The difference is meant and reaches the ECR.
    const auto fillBits = static_cast<byte>(bitmapWidth % 8 == 0 ? 0 : 0xFF >> bitmapWidth % 8);
    if (rowSize == 0) return;
    bitmapBytes.resize(rowSize * static_cast<size_t>(bitmapHeight));
    for (size_t row = 0; row < static_cast<size_t>(bitmapHeight); row++) {
        const byte* source =
            fileRows.data() + (static_cast<size_t>(bitmapHeight) - 1 - row) * static_cast<size_t>(stride);
        byte* target = bitmapBytes.data() + row * rowSize;
        for (size_t k = 0; k < rowSize; k++) {
            const byte pixels = SwapByte(static_cast<byte>(source[k] | (k + 1 == rowSize ? fillBits : 0)));
            target[k] = isInverted ? static_cast<byte>(~pixels) : pixels;
        }
    }
}

int BmpFileReader::Read(int recordNumber, char* buffer, int bufferSize) {
    if (bitmapBytes.empty() || recordNumber >= bitmapHeight) return 0;
    // the buffer's size is compared with the width in pixels: rows are at most 1024 pixels or 128 bytes for
    // the ECR
    const int length = (std::min(bufferSize, bitmapWidth) + 7) / 8;
    std::memcpy(buffer,
                bitmapBytes.data() + static_cast<size_t>(recordNumber) * static_cast<size_t>(RowSize()),
                static_cast<size_t>(length));
    return length;
}

int BmpFileReader::GetCount() const { return bitmapHeight; }

void BmpFileReader::Close() {
    bitmapBytes.clear();
    bitmapHeight = bitmapWidth = 0;
    ioFile.Close();
}

void BmpFileReader::CheckUnchanged() const { ioFile.CheckUnchanged(); }

BmpFileWriter::~BmpFileWriter() {
    TryQuietly([this] { BmpFileWriter::Close(); });
}

FileType BmpFileWriter::GetType() { return FileType_BMP; }

void BmpFileWriter::Open(const std::string& filename) {
    ioFile.Open(filename);
    bitmapBody.clear();
}

void BmpFileWriter::Write(const char* data, int length) {
    if (!bitmapBody.empty() && static_cast<size_t>(length) != bitmapBody.front().size())
        throw new SystemException("Unconsequent line length");
    bitmapBody.emplace_back(data, data + length);
}

std::vector<byte> BmpFileWriter::BuildFile() const {
    const size_t rowSize = bitmapBody.front().size();
    const size_t stride = (rowSize + 3) / 4 * 4;
    std::vector<byte> file(headersSize + bitmapBody.size() * stride);
    SetField(file, bfType, bitmapMagic);
    SetField(file, bfSize, static_cast<uint32_t>(file.size()));
    SetField(file, bfOffBits, headersSize);
    SetField(file, biSize, 40);
    SetField(file, biWidth, static_cast<uint32_t>(rowSize * 8));
    SetField(file, biHeight, static_cast<uint32_t>(bitmapBody.size()));
    SetField(file, biPlanes, 1);
    SetField(file, biBitCount, 1);
    SetField(file, biSizeImage, static_cast<uint32_t>(file.size() - headersSize));
    SetField(file, firstColour, 0x00FFFFFF);  // entry 0 is white, entry 1 stays black
    auto target = file.begin() + headersSize;
    for (auto row = bitmapBody.rbegin(); row != bitmapBody.rend(); ++row) {
        std::transform(row->begin(), row->end(), target, SwapByte);
        target += static_cast<std::ptrdiff_t>(stride);
    }
    return file;
}

void BmpFileWriter::Close() {
    if (!ioFile.IsOpened()) return;
    if (!bitmapBody.empty()) {
        const std::vector<byte> content = BuildFile();
        bitmapBody.clear();  // a second call writes nothing
        ioFile.Write(content.data(), content.size());
    }
    ioFile.Close();
}
