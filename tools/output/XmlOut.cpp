#include "XmlOut.h"

#include <new>

#include <libxml/xmlwriter.h>

namespace {

const xmlChar *xml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}

// The library fails for want of memory only: what is written is well-formed by the order of the calls.
void must(int result) {
    if (result < 0)
        throw std::bad_alloc();
}

} // namespace

void XmlOut::FreeBuffer::operator()(_xmlBuffer *buffer) const noexcept {
    xmlBufferFree(buffer);
}

void XmlOut::FreeWriter::operator()(_xmlTextWriter *writer) const noexcept {
    xmlFreeTextWriter(writer);
}

XmlOut::XmlOut(Kind kind)
    : m_kind(kind)
    , m_buffer(xmlBufferCreate())
    , m_writer(m_buffer ? xmlNewTextWriterMemory(m_buffer.get(), 0) : nullptr) {
    if (!m_writer)
        throw std::bad_alloc();
    must(xmlTextWriterSetIndent(m_writer.get(), 1));
    must(xmlTextWriterSetIndentString(m_writer.get(), xml("  ")));
    if (m_kind == Kind::document)
        must(xmlTextWriterStartDocument(m_writer.get(), nullptr, "utf-8", nullptr));
    else
        must(xmlTextWriterWriteDTD(m_writer.get(), xml("html"), nullptr, nullptr, nullptr));
}

XmlOut::~XmlOut() = default;

void XmlOut::doctype(const Doctype &doctype) {
    must(xmlTextWriterWriteDTD(m_writer.get(), xml(doctype.name), xml(doctype.publicId),
                               xml(doctype.systemId), nullptr));
}

void XmlOut::open(const char *element, const Attributes &attributes) {
    must(xmlTextWriterStartElement(m_writer.get(), xml(element)));
    for (const auto &[name, value] : attributes)
        must(xmlTextWriterWriteAttribute(m_writer.get(), xml(name), xml(value.c_str())));
}

void XmlOut::close() {
    must(m_kind == Kind::document ? xmlTextWriterEndElement(m_writer.get())
                                  : xmlTextWriterFullEndElement(m_writer.get()));
}

void XmlOut::empty(const char *element, const Attributes &attributes) {
    open(element, attributes);
    must(xmlTextWriterEndElement(m_writer.get()));
}

void XmlOut::leaf(const char *element, const std::string &text) {
    must(xmlTextWriterWriteElement(m_writer.get(), xml(element), xml(text.c_str())));
}

void XmlOut::leaf(const char *element, const Attributes &attributes, const std::string &text) {
    open(element, attributes);
    must(xmlTextWriterWriteString(m_writer.get(), xml(text.c_str())));
    close();
}

void XmlOut::optionalLeaf(const char *element, const std::string &text) {
    if (!text.empty())
        leaf(element, text);
}

std::string XmlOut::text() {
    must(xmlTextWriterEndDocument(m_writer.get()));
    const auto *content = reinterpret_cast<const char *>(xmlBufferContent(m_buffer.get()));
    return {content, static_cast<std::size_t>(xmlBufferLength(m_buffer.get()))};
}
