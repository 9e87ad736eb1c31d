#include "FileIo.h"

#include "AppConfig.h"
#include "BmpFile.h"
#include "CsvFile.h"
#include "Exceptions.h"
#include "Path.h"
#include "RawFile.h"
#include "Tools.h"

FileType DetectFileType(const std::string& filename, int dataType) {
    const std::string setting = ToUpper(AppConfig::GetParameter("FileType", ""));
    if (setting == "BMP") return FileType_BMP;
    if (setting == "RAW") return FileType_RAW;
    if (setting == "CSV") return FileType_CSV;
    if (!setting.empty()) throw new ConfigurationException("Unsupported file type");

    if (dataType == 195 || dataType == 202) return FileType_RAW;
    // the word differs from the setting's: only the extension knows BIN, only the setting knows RAW
    const std::string extension = ToUpper(Path::GetExtension(filename));
    if (extension == "BMP") return FileType_BMP;
    return extension == "BIN" ? FileType_RAW : FileType_CSV;
}

std::unique_ptr<FileReader> CreateFileReader(FileType fileType) {
    switch (fileType) {
        case FileType_CSV: return std::make_unique<CsvFileReaderImpl>();
        case FileType_BMP: return std::make_unique<BmpFileReader>();
        case FileType_RAW: return std::make_unique<RawFileReader>();
    }
    throw new InternalException(__FILE__, __LINE__);
}

std::unique_ptr<FileWriter> CreateFileWriter(FileType fileType) {
    switch (fileType) {
        case FileType_CSV: return std::make_unique<CsvFileWriter>();
        case FileType_BMP: return std::make_unique<BmpFileWriter>();
        case FileType_RAW: return std::make_unique<RawFileWriter>();
    }
    throw new InternalException(__FILE__, __LINE__);
}
