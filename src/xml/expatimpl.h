/// \file
/// A thin adapter over expat: it owns the parser handle and forwards expat's callbacks to the members of the
/// class that derives from it.
#pragma once

#include <expat.h>

#include <cstdio>
#include <exception>
#include <utility>

#include "xml/expatswitches.h"

namespace NSTE_util {

/// Bytes, read from the document and from its entities together, from which on entities may not make a hundred
/// times of a document. Every run of text costs a line or two of output: at expat's own 8 MiB, some hundred bytes
/// of entities fill a disk.
constexpr unsigned long long ENTITY_THRESHOLD = 65536;

/// \tparam Handler the deriving class. It has OnPostCreate(), which installs the callbacks it wants, and for
/// those OnStartElement(name, attributes), OnEndElement(name), OnCharacterData(text, length).
///
/// Errors: what a handler throws never passes through expat, which would leak its whole parser: the parse is
/// stopped, no handler is called any more, and the exception leaves ParseBuffer() or Parse().
/// Threads: none of its own; one object serves one parse.
template <class Handler>
class CExpatImpl {
public:
    CExpatImpl(const CExpatImpl&) = delete;
    CExpatImpl& operator=(const CExpatImpl&) = delete;

    /// Frees any earlier parser.
    /// \return false when expat gives none.
    bool Create()
    {
        Destroy();
        m_pParser = XML_ParserCreate_MM(nullptr, nullptr, nullptr);
        if (m_pParser == nullptr) return false;
        // Some releases put a token off that was incomplete until much more of it has come, and forget it when
        // nobody says that the end is reached.
        m_bPutsOff = &XML_SetReparseDeferralEnabled != nullptr &&
                     XML_SetReparseDeferralEnabled(m_pParser, XML_FALSE) == XML_FALSE;
        if (&XML_SetBillionLaughsAttackProtectionActivationThreshold != nullptr) {
            XML_SetBillionLaughsAttackProtectionActivationThreshold(m_pParser, ENTITY_THRESHOLD);
        }
        auto* pHandler = static_cast<Handler*>(this);
        pHandler->OnPostCreate();
        XML_SetUserData(m_pParser, pHandler);
        return true;
    }

    void Destroy()
    {
        if (m_pParser == nullptr) return;
        XML_ParserFree(m_pParser);
        m_pParser = nullptr;
    }

    void EnableStartElementHandler() { XML_SetStartElementHandler(m_pParser, &CExpatImpl::StartElement); }
    void EnableEndElementHandler() { XML_SetEndElementHandler(m_pParser, &CExpatImpl::EndElement); }
    void EnableCharacterDataHandler()
    {
        std::printf("in [EnableCharacterDataHandler]\n");
        XML_SetCharacterDataHandler(m_pParser, &CExpatImpl::CharacterData);
        std::printf("out [EnableCharacterDataHandler]\n");
    }

    /// Room for the next piece, or null; valid until the next call.
    void* GetBuffer(int nLength) { return XML_GetBuffer(m_pParser, nLength); }

    /// \param nLength bytes in the room that GetBuffer() gave
    bool ParseBuffer(int nLength, bool bFinal)
    {
        return Finished(XML_ParseBuffer(m_pParser, nLength, bFinal ? XML_TRUE : XML_FALSE));
    }

    bool Parse(const char* pText, int nLength, bool bFinal)
    {
        return Finished(XML_Parse(m_pParser, pText, nLength, bFinal ? XML_TRUE : XML_FALSE));
    }

    /// Parses what expat has put off although it was told not to. Only for the end: it looks at everything when
    /// it hears of the end, and what the end cuts off is no error here.
    bool ParsePutOff()
    {
        if (!m_bPutsOff || ParseBuffer(0, true)) return true;
        switch (XML_GetErrorCode(m_pParser)) {
            case XML_ERROR_NO_ELEMENTS:
            case XML_ERROR_UNCLOSED_TOKEN:
            case XML_ERROR_UNCLOSED_CDATA_SECTION:
            case XML_ERROR_PARTIAL_CHAR:
                return true;
            default:
                return false;
        }
    }

    /// Where in the document the token begins that is at hand, or that was incomplete when the last piece
    /// ended; -1 when expat does not know.
    XML_Index GetCurrentByteIndex() const { return XML_GetCurrentByteIndex(m_pParser); }
    /// The length of the token at hand.
    int GetCurrentByteCount() const { return XML_GetCurrentByteCount(m_pParser); }

    XML_Error GetErrorCode()
    {
        std::printf("in [GetErrorCode]\n");
        return XML_GetErrorCode(m_pParser);
    }

    const XML_LChar* GetErrorText(XML_Error error)
    {
        std::printf("in [XML_LChar]\n");
        return XML_ErrorString(error);
    }

    XML_Size GetCurrentLineNumber()
    {
        std::printf("in [GetCurrentLineNumber]\n");
        return XML_GetCurrentLineNumber(m_pParser);
    }

    /// What expat calls. \p pUserData is the handler object; null: nothing happens.
    static void XMLCALL StartElement(void* pUserData, const XML_Char* pName, const XML_Char** ppAttributes)
    {
        Forward(pUserData, [&](Handler& handler) { handler.OnStartElement(pName, ppAttributes); });
    }
    static void XMLCALL EndElement(void* pUserData, const XML_Char* pName)
    {
        Forward(pUserData, [&](Handler& handler) { handler.OnEndElement(pName); });
    }
    static void XMLCALL CharacterData(void* pUserData, const XML_Char* pText, int nLength)
    {
        Forward(pUserData, [&](Handler& handler) { handler.OnCharacterData(pText, nLength); });
    }

protected:
    CExpatImpl() = default;
    ~CExpatImpl() { Destroy(); }

private:
    template <class Call>
    static void Forward(void* pUserData, Call call)
    {
        if (pUserData == nullptr) return;
        auto& handler = *static_cast<Handler*>(pUserData);
        CExpatImpl& adapter = handler;
        if (adapter.m_Thrown) return;  // expat may finish the tag at hand after it was stopped
        try {
            call(handler);
        } catch (...) {
            adapter.m_Thrown = std::current_exception();
            XML_StopParser(adapter.m_pParser, XML_FALSE);
        }
    }

    bool Finished(XML_Status status)
    {
        if (m_Thrown) std::rethrow_exception(std::exchange(m_Thrown, nullptr));
        return status == XML_STATUS_OK;
    }

    XML_Parser m_pParser = nullptr;
    bool m_bPutsOff = false;  // whatever it was told
    std::exception_ptr m_Thrown;
};

}  // namespace NSTE_util
