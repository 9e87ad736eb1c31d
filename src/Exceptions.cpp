#include "Exceptions.h"

#include <cerrno>
#include <cstring>

#include "Format.h"

namespace {

std::string WithErrorCode(const std::string& msg, int code) {
    return Format("%s (error code : %u)", msg.c_str(), static_cast<unsigned>(code));
}

}  // namespace

Exception::Exception(ReturnCode returnCode, const std::string& displayMessage, const std::string& logMessage,
                     const std::string& path, int error)
    : m_returnCode(returnCode),
      m_displayMessage(displayMessage),
      m_logMessage(logMessage),
      m_path(path),
      m_error(error) {}

std::string Exception::Explain() const {
    return m_error == 0 ? m_logMessage : m_logMessage + ": " + std::strerror(m_error);
}

CommandLineException::CommandLineException(const std::string& msg)
    : Exception(ReturnCode_CmdLineError, msg + " (use /? for help)", msg) {}

ConfigurationException::ConfigurationException(const std::string& msg)
    : Exception(ReturnCode_ConfigError, "Configuration error: " + msg, msg) {}

CommunicationException::CommunicationException(const std::string& msg)
    : Exception(ReturnCode_CommunicationError, "\nCommunication error: " + msg, msg) {}

FileIoException::FileIoException(const std::string& msg, const std::string& path, int error)
    : Exception(ReturnCode_FileIoError, msg, msg, path, error) {}

SystemException::SystemException(const std::string& msg, const std::string& path)
    : Exception(ReturnCode_SystemError, "System error: " + msg,
                Format("%s (system error code : %u)", msg.c_str(), static_cast<unsigned>(errno)), path) {}

InternalException::InternalException(const std::string& file, int line)
    : Exception(ReturnCode_InternalError, "Internal error",
                Format("Internal error in file '%s' line %d", file.c_str(), line)) {}

ApplicationException::ApplicationException(const std::string& msg, ReturnCode code)
    : Exception(code, "\n" + msg, msg) {}

UnknownCommandException::UnknownCommandException(const std::string& msg)
    : Exception(ReturnCode_CommandFailed, "\nUnknown command error: " + msg, msg) {}

NetworkCommException::NetworkCommException(const std::string& msg)
    : Exception(ReturnCode_CommunicationError, "\nCommunication error: " + msg, WithErrorCode(msg, 0)) {}

NetworkSystemException::NetworkSystemException(const std::string& msg, int code)
    : Exception(ReturnCode_SystemError, "Network error: " + msg, WithErrorCode(msg, code)) {}
