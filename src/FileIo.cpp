#include "FileIo.h"

#include <iterator>

#include "AppConfig.h"
#include "Exceptions.h"
#include "Files/BmpFile.h"
#include "Files/CsvFile.h"
#include "Files/RawFile.h"
#include "Path.h"
#include "Tools.h"

namespace {

template <class Base, class File>
std::unique_ptr<Base> Create() {
    return std::make_unique<File>();
}

/** By FileType. The words differ: only the extension knows BIN, only the setting knows RAW. */
constexpr FileKind fileKinds[] = {{FileType_CSV, "CSV", "", Create<FileReader, CsvFileReaderImpl>,
                                   Create<FileWriter, CsvFileWriter>, true, true, false},
                                  {FileType_BMP, "BMP", "BMP", Create<FileReader, BmpFileReader>,
                                   Create<FileWriter, BmpFileWriter>, false, false, true},
                                  {FileType_RAW, "RAW", "BIN", Create<FileReader, RawFileReader>,
                                   Create<FileWriter, RawFileWriter>, false, false, false}};

constexpr bool IsInOrder() {
    for (size_t i = 0; i < std::size(fileKinds); i++)
        if (fileKinds[i].type != static_cast<FileType>(i)) return false;
    return std::size(fileKinds) == fileTypeCount;
}
static_assert(IsInOrder(), "every FileType has its row");

}  // namespace

const FileKind& KindOf(FileType fileType) {
    const auto index = static_cast<size_t>(fileType);
    if (index >= std::size(fileKinds)) throw new InternalException(__FILE__, __LINE__);
    return fileKinds[index];
}

FileType DetectFileType(const std::string& filename, int dataType) {
    const std::string setting = ToUpper(AppConfig::Get(settings::fileType));
    for (const FileKind& kind : fileKinds)
        if (setting == kind.setting) return kind.type;
    if (!setting.empty()) throw new ConfigurationException("Unsupported file type");

    if (dataType == 195 || dataType == 202) return FileType_RAW;
    const std::string extension = ToUpper(Path::GetExtension(filename));
    for (const FileKind& kind : fileKinds)
        if (!extension.empty() && extension == kind.extension) return kind.type;
    return FileType_CSV;
}

std::unique_ptr<FileReader> CreateFileReader(FileType fileType) { return KindOf(fileType).createReader(); }

std::unique_ptr<FileWriter> CreateFileWriter(FileType fileType) { return KindOf(fileType).createWriter(); }
