#include "XmlErrors.h"

#include <cstring>
#include <new>

#include <libxml/globals.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>
#include <libxml/xpath.h>

namespace {

// libxml2 before 2.12 uses the state that a thread has of its own without looking whether there was memory
// for it.
xmlGenericErrorFunc genericHandler() {
#if LIBXML_VERSION < 21200 && defined(LIBXML_THREAD_ENABLED)
    if (xmlGetGlobalState() == nullptr)
        throw std::bad_alloc();
#endif
    return xmlGenericError;
}

// libxml2 tells a text beyond its limits as if there were no memory for it.
bool tellsLimit(const char *message) noexcept {
    return message != nullptr &&
           (std::strstr(message, "huge") != nullptr || std::strstr(message, "too long") != nullptr);
}

} // namespace

XmlErrors::XmlErrors()
    : m_genericHandler(genericHandler())
    , m_genericContext(xmlGenericErrorContext)
    , m_structuredHandler(reinterpret_cast<void (*)()>(xmlStructuredError))
    , m_structuredContext(xmlStructuredErrorContext) {
    xmlSetGenericErrorFunc(nullptr, ignore);
    xmlSetStructuredErrorFunc(this, note);
}

XmlErrors::~XmlErrors() {
    xmlSetStructuredErrorFunc(m_structuredContext,
                              reinterpret_cast<xmlStructuredErrorFunc>(m_structuredHandler));
    xmlSetGenericErrorFunc(m_genericContext, m_genericHandler);
}

void XmlErrors::throwWithoutMemory() const {
    if (m_ranOutOfMemory)
        throw std::bad_alloc();
}

template <typename Error>
void XmlErrors::note(void *errors, Error *error) noexcept {
    if (error == nullptr || error->code != XML_ERR_NO_MEMORY)
        return;
    auto &noted = *static_cast<XmlErrors *>(errors);
    (tellsLimit(error->message) ? noted.m_metLimit : noted.m_ranOutOfMemory) = true;
}

void XmlErrors::ignore(void *, const char *, ...) noexcept {
}

XmlXPathErrors::XmlXPathErrors(xmlXPathContext &context)
    : m_context(context) {
    m_context.error = note;
    m_context.userData = static_cast<XmlErrors *>(this);
}

XmlXPathErrors::~XmlXPathErrors() {
    m_context.error = nullptr;
    m_context.userData = nullptr;
}
