/// \file
/// The exceptions with which a failed operation reaches a waiting caller.
#pragma once

#include <exception>
#include <sstream>
#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// A failed operation: a code, the place that raised it, a detail text for the caller's descriptor and a
/// message "ErrCode:<decimal code>,Detail:<detail>". what() is std::exception's own: ask the streams.
///
/// Throw temporaries and catch by reference: copying takes a non-const reference, so that nobody copies one
/// (and its four streams) by accident. Everything is inline, so that a host that raises one of these classes
/// links nothing of this library.
///
/// Threads: an exception belongs to the thread that handles it.
class NBI_EXPORT ProcessException : public std::exception {
public:
    /// Code and line 0, all streams empty.
    ProcessException() = default;

    /// \param nCode      the error code that the waiting caller receives
    /// \param pFile      name of the raising source file, without an ending
    /// \param pFunction  name of the raising function
    /// \param message    what MessageStream() holds; BuildMessage() gives the usual form
    /// \param errorInfo  what ErrorInfoStream() holds: the detail text that NBITask::Run hands to the
    /// descriptor
    ProcessException(unsigned int nCode, const char* pFile, const char* pFunction, int nLine,
                     const std::string& message, const std::string& errorInfo = std::string())
        : m_nErrorCode(nCode), m_nLine(nLine)
    {
        m_File << pFile;
        m_Function << pFunction;
        m_ErrorInfo << errorInfo;
        m_Message << message;
    }

    /// Copies code, line and the text of each stream; formatting flags and positions are not copied.
    ProcessException(ProcessException& other)
        : std::exception(other), m_nErrorCode(other.m_nErrorCode), m_nLine(other.m_nLine)
    {
        m_File << other.m_File.str();
        m_Function << other.m_Function.str();
        m_ErrorInfo << other.m_ErrorInfo.str();
        m_Message << other.m_Message.str();
    }
    ProcessException& operator=(const ProcessException&) = delete;
    ~ProcessException() override = default;

    unsigned int GetErrorCode() const { return m_nErrorCode; }
    void SetErrorCode(unsigned int nCode) { m_nErrorCode = nCode; }

    /// Source line that raised the exception.
    int GetLine() const { return m_nLine; }
    void SetLine(int nLine) { m_nLine = nLine; }

    std::stringstream& FileStream() { return m_File; }
    std::stringstream& FunctionStream() { return m_Function; }
    /// The detail text meant for the caller's descriptor. What the library raises itself leaves it empty.
    std::stringstream& ErrorInfoStream() { return m_ErrorInfo; }
    std::stringstream& MessageStream() { return m_Message; }

    /// "ErrCode:<code>,Detail:<detail>". The code has 64 bits here because descriptors hold that many; an
    /// exception raised from one carries the low 32 as its number and all of them in its message.
    static std::string BuildMessage(unsigned long nCode, const std::string& detail)
    {
        return "ErrCode:" + std::to_string(nCode) + ",Detail:" + detail;
    }

private:
    unsigned int m_nErrorCode = 0;
    int m_nLine = 0;
    std::stringstream m_File;
    std::stringstream m_Function;
    std::stringstream m_ErrorInfo;
    std::stringstream m_Message;
};

/// The service framework knows no service under the interface that was asked for.
class NBI_EXPORT InterfaceNotExistException : public ProcessException {
public:
    using ProcessException::ProcessException;
    InterfaceNotExistException() = default;
    InterfaceNotExistException(InterfaceNotExistException& other) = default;
};

}  // namespace NS_UTIL
