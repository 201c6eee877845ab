#include "XmlDocument.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlsave.h>

#include "File.h"
#include "RegularFile.h"
#include "ReplaceFile.h"
#include "StandardStreams.h"
#include "XmlErrors.h"

namespace {

// What libxml2 writes, gathered before any file is touched.
struct Serialised {
    std::string bytes;
    bool isWhole = true;
};

int append(void *serialised, const char *bytes, int count) noexcept {
    auto &target = *static_cast<Serialised *>(serialised);
    try {
        target.bytes.append(bytes, static_cast<std::size_t>(count));
        return count;
    } catch (...) {
        target.isWhole = false;
        return -1;
    }
}

struct XmlParserDeleter {
    void operator()(xmlParserCtxt *parser) const noexcept { xmlFreeParserCtxt(parser); }
};
using XmlParser = std::unique_ptr<xmlParserCtxt, XmlParserDeleter>;

// Throws std::bad_alloc without memory for the whole document: libxml2 may give the part that it had read;
// and std::system_error when the file could not be read to its end.
template <typename Read>
XmlDoc parse(Read read) {
    const XmlErrors errors;
    const XmlParser parser(xmlNewParserCtxt());
    if (!parser)
        throw std::bad_alloc();
    XmlDoc document(read(parser.get()));
    if (errors.ranOutOfMemory() || parser->errNo == XML_ERR_NO_MEMORY)
        throw std::bad_alloc();
    if (errors.couldNotRead())
        throw std::system_error(EIO, std::generic_category(), "read");
    return document;
}

// Files are opened here and not by libxml2, which takes "-", URLs and percent signs in a name for more than a
// name and would read or write something else.
XmlDoc readFile(xmlParserCtxt *parser, const char *fileName) {
    const File file(std::fopen(fileName, "rb"));
    if (!file && isMomentary(errno))
        throw std::system_error(errno, std::generic_category(), "open");
    return XmlDoc(file ? xmlCtxtReadFd(parser, fileno(file.get()), fileName, nullptr, XML_PARSE_NONET)
                       : nullptr);
}

bool isDocument(const std::string &text) {
    try {
        return parseXml(text.data(), text.size()) != nullptr;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

} // namespace

void XmlDocDeleter::operator()(xmlDoc *document) const noexcept {
    xmlFreeDoc(document);
}

XmlDoc parseXmlFile(const char *fileName, bool &isWhole) {
    XmlDoc document;
    try {
        document = parse([fileName](xmlParserCtxt *parser) { return readFile(parser, fileName); });
    } catch (const std::exception &) {
        isWhole = false; // and told like any other failure
    }
    if (!document)
        printError("Error: unable to parse file \"%s\"\n", fileName);
    return document;
}

XmlDoc parseXml(const char *buffer, unsigned long size) {
    if (size > INT_MAX)
        return nullptr;
    return parse([buffer, size](xmlParserCtxt *parser) {
        return XmlDoc(
            xmlCtxtReadMemory(parser, buffer, static_cast<int>(size), nullptr, nullptr, XML_PARSE_NONET));
    });
}

std::optional<std::string> serialiseXml(xmlDoc *document, const char *encoding, XmlForm form) {
    if (!document)
        return std::nullopt;
    const XmlErrors errors;
    xmlCharEncodingHandler *encoder = encoding ? xmlFindCharEncodingHandler(encoding) : nullptr;
    Serialised result;
    xmlOutputBuffer *output = xmlOutputBufferCreateIO(append, nullptr, &result, encoder);
    // An encoding that cannot be had is not named either. This releases the output as well.
    const int written = xmlSaveFormatFileTo(output, document, encoder ? encoding : nullptr,
                                            form == XmlForm::indented ? 1 : 0);
    if (written < 0 || !result.isWhole || errors.ranOutOfMemory())
        return std::nullopt;
    return std::move(result.bytes);
}

std::optional<std::string> serialiseXml(xmlDoc *document, xmlNode *node) {
    const XmlErrors errors;
    Serialised result;
    // Not xmlNodeDump, which in libxml2 2.9 frees a buffer twice that there is no memory to enlarge.
    xmlOutputBuffer *output = xmlOutputBufferCreateIO(append, nullptr, &result, nullptr);
    if (output == nullptr)
        return std::nullopt;
    xmlNodeDumpOutput(output, document, node, 0, 0, nullptr);
    if (xmlOutputBufferClose(output) < 0 || !result.isWhole || errors.ranOutOfMemory())
        return std::nullopt;
    return std::move(result.bytes);
}

int saveXml(xmlDoc *document, const std::string &fileName, const char *encoding, XmlForm form) {
    const std::optional<std::string> text = serialiseXml(document, encoding, form);
    // A document may hold characters that its text must not; nobody could read the file then.
    if (!text || text->size() > INT_MAX || !isDocument(*text))
        return -1;
    return rewriteFile(fileName, *text) ? static_cast<int>(text->size()) : -1;
}
