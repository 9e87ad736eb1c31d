#include "Records/InputFile.h"

#include "AppConfig.h"
#include "DataConverter.h"
#include "FileErrors.h"
#include "Files/CsvFile.h"
#include "Formatting/TextDataParser.h"

void InputFile::OpenRecords(int dataType, const std::string& filename) {
    const FileType fileType = DetectFileType(filename, dataType);
    DataConverter::Initialize(fileType);
    FileErrors::Reset();
    m_reader = CreateFileReader(fileType);
    m_reader->Open(filename);
}

void InputFile::OpenCommands(const std::string& filename) {
    DataConverter::Initialize(FileType_CSV);
    // commands run in the order of the file, and one that repeats is no duplicate
    m_reader = std::make_unique<CsvFileReaderImpl>(true);
    m_reader->Open(filename);
    // lines refused so far are reported, but do not stop the run: they are never executed
    FileErrors::Reset();
    m_commands.clear();
    m_delimiter = ConfiguredDelimiter();
    for (int i = 0; Read(i); i++) TakeCommand();
    FileErrors::Log();
    if (FileErrors::GetBadFormatRecordCount() > 0)
        throw new ApplicationException("Input file contains bad data", ReturnCode_InputFileSyntaxError);
}

void InputFile::TakeCommand() {
    const int lineNumber = GetLineNumber(m_recordNumber);
    byte ecrRecord[commIoBufferSize];
    TextDataParser parser(Bytes(), m_length, m_delimiter);
    if (parser.GetFieldType() != FieldType_Number) {
        FileErrors::AddBadFormatRecord(lineNumber);
        return;
    }
    if (Convert(ecrRecord) == 0) return;
    Decimal code;
    parser.GetNumber(code);
    const uint16_t length = DataConverter::PcToEcr(parser, ecrRecord, commIoBufferSize);
    m_commands.push_back({static_cast<byte>(code.ToInt64()), {ecrRecord, ecrRecord + length}, lineNumber});
}

void InputFile::Close() { m_reader.reset(); }

int InputFile::GetLineNumber(int recordNumber) const {
    if (!GetKind().hasLines) return 0;
    return static_cast<CsvFileReader&>(*m_reader).GetLineNumber(recordNumber);
}

bool InputFile::Read(int recordNumber) {
    m_recordNumber = recordNumber;
    m_length = static_cast<uint16_t>(m_reader->Read(recordNumber, m_record, sizeof m_record));
    return m_length != 0;
}

uint16_t InputFile::TryToConvert(byte* ecrRecord) const {
    return DataConverter::PcToEcr(Bytes(), m_length, ecrRecord, commIoBufferSize);
}

uint16_t InputFile::Convert(byte* ecrRecord) const {
    const uint16_t length = TryToConvert(ecrRecord);
    if (length == 0) FileErrors::AddBadFormatRecord(GetLineNumber(m_recordNumber));
    return length;
}

ReturnCode StatusOfFileErrors() {
    const bool hasDuplicates =
        FileErrors::GetDuplicateRecordCount() > 0 && AppConfig::Get(settings::ignoreDuplicates) == 0;
    if (hasDuplicates || FileErrors::GetBadFormatRecordCount() > 0 || FileErrors::GetEmptyRecordCount() > 0)
        return ReturnCode_InputFileSyntaxError;
    return FileErrors::GetRejectedByEcrRecordCount() > 0 ? ReturnCode_InputFileHasBadRecords : ReturnCode_OK;
}
