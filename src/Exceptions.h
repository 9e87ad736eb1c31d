#pragma once

#include <new>
#include <string>

/** Exit status of the process; callers decide by it, so the values never change. README, "Exit status". */
enum ReturnCode {
    ReturnCode_OK = 0,
    ReturnCode_CmdLineError = 1,
    ReturnCode_InputFileSyntaxError = 2,
    ReturnCode_EcrBusy = 3,
    ReturnCode_CommandFailed = 4,
    ReturnCode_CommunicationError = 5,
    ReturnCode_TCPCommunicationDropped = 6,
    ReturnCode_ConfigError = 10,
    ReturnCode_BadPassword = 11,
    ReturnCode_NotActivated = 12,
    ReturnCode_FileIoError = 13,
    ReturnCode_InputFileHasBadRecords = 14,
    ReturnCode_UnknownCommand = 15,
    ReturnCode_EcrPortLocked = 16,
    ReturnCode_SystemError = 50,
    ReturnCode_InternalError = 99
};

/**
 * A failure that ends the command: an exit status, a text for the user and a text for the log.
 * Thrown and caught by pointer; the catcher owns the object. The classes below differ only in their
 * constructors and must stay without members of their own, so that freeing any of them as an Exception frees
 * all of it.
 */
class Exception {
public:
    Exception(ReturnCode returnCode, const std::string& displayMessage, const std::string& logMessage,
              const std::string& path = "", int error = 0);

    ReturnCode GetReturnCode() const { return m_returnCode; }
    std::string GetDisplayMessage() const { return m_displayMessage; }
    std::string GetLogMessage() const { return m_logMessage; }
    /** The file or device that a hint can say more about; empty for none. */
    std::string GetPath() const { return m_path; }
    /** Why a call for it has failed, an errno; 0 where none has. */
    int GetError() const { return m_error; }
    /** The text for the log, with the errno's own one. */
    std::string Explain() const;

private:
    ReturnCode m_returnCode;
    std::string m_displayMessage;
    std::string m_logMessage;
    std::string m_path;
    int m_error;
};

class CommandLineException : public Exception {
public:
    explicit CommandLineException(const std::string& msg);
};

class ConfigurationException : public Exception {
public:
    explicit ConfigurationException(const std::string& msg);
};

class CommunicationException : public Exception {
public:
    explicit CommunicationException(const std::string& msg);
};

class FileIoException : public Exception {
public:
    explicit FileIoException(const std::string& msg, const std::string& path = "", int error = 0);
};

/** An operating-system call failed; errno as it stands at construction goes to the log. */
class SystemException : public Exception {
public:
    explicit SystemException(const std::string& msg, const std::string& path = "");
};

/** Of a SystemException for memory that is not to be had. */
inline constexpr const char* notEnoughMemory = "Not enough memory";

/** A broken invariant; thrown as InternalException(__FILE__, __LINE__), which only the log shows. */
class InternalException : public Exception {
public:
    InternalException(const std::string& file, int line);
};

/** An answer of the ECR, or another outcome whose status the thrower picks. */
class ApplicationException : public Exception {
public:
    ApplicationException(const std::string& msg, ReturnCode code);
};

/** The ECR has given the transfer up. Its status is that of a failed command (4), not of an unknown one (15).
 */
class UnknownCommandException : public Exception {
public:
    explicit UnknownCommandException(const std::string& msg);
};

class NetworkCommException : public Exception {
public:
    explicit NetworkCommException(const std::string& msg);
};

class NetworkSystemException : public Exception {
public:
    explicit NetworkSystemException(const std::string& msg, int code = 0);
};

/** Runs the action; false where that fails, for whatever reason, and the failure does not matter. */
template <class Action>
bool TryQuietly(const Action& action) {
    try {
        action();
        return true;
    } catch (Exception* e) {
        delete e;
    } catch (const std::bad_alloc&) {
        // nor does that
    }
    return false;
}
