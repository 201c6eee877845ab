#include "XmlDocument.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <exception>
#include <functional>
#include <new>
#include <string_view>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlsave.h>
#include <sys/types.h>
#include <unistd.h>

#include "File.h"
#include "RegularFile.h"
#include "ReplaceFile.h"
#include "StandardStreams.h"
#include "XmlBounds.h"
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

// Where a document comes from: the bytes as they are asked for, 0 at the end, -1 when they cannot be read.
using Source = std::function<ssize_t(char *, std::size_t)>;

struct BoundedSource {
    Source read;
    XmlBounds bounds;
};

int readBlock(void *source, char *block, int size) noexcept {
    auto &from = *static_cast<BoundedSource *>(source);
    if (!from.bounds.mayRead())
        return 0;
    const ssize_t count = from.read(block, static_cast<std::size_t>(size));
    if (count > 0)
        from.bounds.hasRead(static_cast<std::size_t>(count));
    return static_cast<int>(count);
}

// Throws std::bad_alloc without memory for the whole document: libxml2 may give the part that it had read.
XmlDoc parse(Source read, const char *fileName, XmlTexts texts) {
    const XmlErrors errors;
    const XmlParser parser(xmlNewParserCtxt());
    if (!parser)
        throw std::bad_alloc();
    BoundedSource source{std::move(read), XmlBounds(*parser, texts)};
    XmlDoc document(
        xmlCtxtReadIO(parser.get(), readBlock, nullptr, &source, fileName, nullptr, XML_PARSE_NONET));
    if (errors.metLimit() || source.bounds.areExceeded())
        return nullptr;
    if (errors.ranOutOfMemory() || parser->errNo == XML_ERR_NO_MEMORY)
        throw std::bad_alloc();
    return document;
}

// Then another try a moment later may open it: nobody knows what it holds.
bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

// Files are opened here and not by libxml2, which takes "-", URLs and percent signs in a name for more than a
// name and would read or write something else.
XmlDoc readFile(const char *fileName) {
    const File file(std::fopen(fileName, "rb"));
    if (!file && isShortage(errno))
        throw std::bad_alloc();
    if (!file)
        return nullptr;
    return parse([&](char *block, std::size_t size) { return ::read(fileno(file.get()), block, size); },
                 fileName, XmlTexts::limited);
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
        document = readFile(fileName);
    } catch (const std::exception &) {
        isWhole = false; // and told like any other failure
    }
    if (!document)
        printError("Error: unable to parse file \"%s\"\n", fileName);
    return document;
}

XmlDoc parseXml(const char *buffer, unsigned long size) {
    if (!buffer || size > INT_MAX)
        return nullptr;
    std::string_view rest(buffer, size);
    return parse(
        [&rest](char *block, std::size_t count) {
            const std::size_t copied = rest.copy(block, count);
            rest.remove_prefix(copied);
            return static_cast<ssize_t>(copied);
        },
        nullptr, XmlTexts::unlimited);
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
