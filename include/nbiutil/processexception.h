/// \file
/// The exceptions with which a failed operation reaches a waiting caller.
#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// A text behind a string stream, which is built when somebody asks for it. Most exceptions are raised,
/// logged and turned into a code and a text without that, and building four streams costs more than raising
/// the exception.
class NBI_EXPORT TextStream {
public:
    TextStream() = default;
    explicit TextStream(std::string text) : m_Text(std::move(text)) {}

    /// Writing goes on behind the text.
    std::stringstream& Stream()
    {
        if (!m_pStream) {
            m_pStream =
                std::make_unique<std::stringstream>(m_Text, std::ios::in | std::ios::out | std::ios::ate);
        }
        return *m_pStream;
    }
    std::string Text() const { return m_pStream ? m_pStream->str() : m_Text; }
    std::size_t Length() const { return m_pStream ? m_pStream->str().size() : m_Text.size(); }

private:
    std::string m_Text;
    std::unique_ptr<std::stringstream> m_pStream;  // once there, it holds the text
};

/// A failed operation: a code, the place that raised it, a detail text for the caller's descriptor and a
/// message "ErrCode:<decimal code>,Detail:<detail>". what() is std::exception's own: ask the streams, or
/// their texts.
///
/// Throw temporaries and catch by reference: copying takes a non-const reference, so that nobody copies one
/// by accident. Everything is inline, so that a host that raises one of these classes links nothing of this
/// library.
///
/// Threads: an exception belongs to the thread that handles it.
class NBI_EXPORT ProcessException : public std::exception {
public:
    /// Code and line 0, all streams empty.
    ProcessException() = default;

    /// \param nCode      the code that the waiting caller receives; the exception keeps the low 32 bits, its
    /// message
    ///                   tells all 64, as many as descriptors hold
    /// \param detail     ends the message, "ErrCode:<nCode>,Detail:<detail>"
    /// \param errorInfo  what ErrorInfoStream() holds: the text that NBITask::Run hands to the descriptor
    /// \param pFile      name of the raising source file, without an ending
    ProcessException(unsigned long nCode, const std::string& detail, const std::string& errorInfo,
                     const char* pFile, const char* pFunction, int nLine)
        : m_nErrorCode(static_cast<unsigned int>(nCode)),
          m_nLine(nLine),
          m_File(pFile),
          m_Function(pFunction),
          m_ErrorInfo(errorInfo),
          m_Message("ErrCode:" + std::to_string(nCode) + ",Detail:" + detail),
          m_nDetailAt(m_Message.Length() - detail.size())
    {
    }

    /// The same with an empty ErrorInfoStream().
    ProcessException(unsigned long nCode, const std::string& detail, const char* pFile, const char* pFunction,
                     int nLine)
        : m_nErrorCode(static_cast<unsigned int>(nCode)),
          m_nLine(nLine),
          m_File(pFile),
          m_Function(pFunction),
          m_Message("ErrCode:" + std::to_string(nCode) + ",Detail:" + detail),
          m_nDetailAt(m_Message.Length() - detail.size())
    {
    }

    /// Copies code, line and the text of each stream; formatting flags and positions are not copied.
    ProcessException(ProcessException& other)
        : std::exception(other),
          m_nErrorCode(other.m_nErrorCode),
          m_nLine(other.m_nLine),
          m_File(other.GetFile()),
          m_Function(other.GetFunction()),
          m_ErrorInfo(other.GetErrorInfo()),
          m_Message(other.GetMessage()),
          m_nDetailAt(other.m_nDetailAt)
    {
    }
    ProcessException& operator=(const ProcessException&) = delete;
    ~ProcessException() override = default;

    unsigned int GetErrorCode() const { return m_nErrorCode; }
    void SetErrorCode(unsigned int nCode) { m_nErrorCode = nCode; }

    /// Source line that raised the exception.
    int GetLine() const { return m_nLine; }
    void SetLine(int nLine) { m_nLine = nLine; }

    std::stringstream& FileStream() { return m_File.Stream(); }
    std::stringstream& FunctionStream() { return m_Function.Stream(); }
    /// The detail text meant for the caller's descriptor. What the library raises itself leaves it empty.
    std::stringstream& ErrorInfoStream() { return m_ErrorInfo.Stream(); }
    std::stringstream& MessageStream() { return m_Message.Stream(); }

    /// The streams' texts.
    std::string GetFile() const { return m_File.Text(); }
    std::string GetFunction() const { return m_Function.Text(); }
    std::string GetErrorInfo() const { return m_ErrorInfo.Text(); }
    std::string GetMessage() const { return m_Message.Text(); }

    /// The detail without the code in front of it, whatever the detail itself contains, and with what was
    /// written behind the message since.
    /// \return all of the message when the exception was made without a detail
    std::string GetDetail() const
    {
        const std::string message = m_Message.Text();
        return m_nDetailAt < message.size() ? message.substr(m_nDetailAt) : std::string();
    }

private:
    unsigned int m_nErrorCode = 0;
    int m_nLine = 0;
    TextStream m_File;
    TextStream m_Function;
    TextStream m_ErrorInfo;
    TextStream m_Message;
    std::size_t m_nDetailAt = 0;  // where the detail begins in the message
};

/// The service framework knows no service under the interface that was asked for.
class NBI_EXPORT InterfaceNotExistException : public ProcessException {
public:
    using ProcessException::ProcessException;
    InterfaceNotExistException() = default;
    InterfaceNotExistException(InterfaceNotExistException& other) = default;
};

}  // namespace NS_UTIL
