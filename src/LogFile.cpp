#include "LogFile.h"

#include <unistd.h>

#include "Exceptions.h"
#include "Format.h"
#include "Path.h"
#include "Tools.h"
#include "Wrapper/LinuxFunctionWrapper.h"

LogFile::~LogFile() { Close(true); }

void LogFile::Open(const std::string& path) {
    if (IsOpened()) throw new InternalException(__FILE__, __LINE__);
    const std::string directory = Path::GetDirectoryName(path);
    if (!directory.empty() && !Directory::Exists(directory) && !Directory::Create(directory))
        throw new SystemException("Log file directory create failed");
    fopen_s(&m_file, path.c_str(), "a");
    if (m_file == nullptr) throw new FileIoException("Can't open file '" + path + "'");
    // unbuffered: a line reaches the file whole, in one write, as soon as it is written
    std::setvbuf(m_file, nullptr, _IONBF, 0);
    m_filePath = path;
    std::fseek(m_file, 0, SEEK_END);
    m_originalFileSize = std::ftell(m_file);
}

bool LogFile::IsOpened() const { return m_file != nullptr; }

void LogFile::AddMessage(const std::string& message, bool addTime) {
    if (!IsOpened()) throw new InternalException(__FILE__, __LINE__);
    const std::string line = (addTime ? GetCurrentTime() + " " : "") + message + "\n";
    std::fwrite(line.data(), 1, line.size(), m_file);
}

void LogFile::Close(bool save) {
    if (!IsOpened()) return;
    // a log that cannot be cut keeps this run's lines
    if (!save && ftruncate(fileno(m_file), m_originalFileSize) == 0)
        std::fseek(m_file, m_originalFileSize, SEEK_SET);
    const long position = std::ftell(m_file);
    std::fclose(m_file);
    m_file = nullptr;
    if (position == 0) File::Delete(m_filePath);
}

std::string LogFile::GetCurrentTime() {
    tagSYSTEMTIME now{};
    GetLocalTime(&now);
    return Format("%02d.%02d.%04d %02d:%02d:%02d.%03d", now.wDay, now.wMonth, now.wYear, now.wHour,
                  now.wMinute, now.wSecond, now.wMilliseconds);
}
