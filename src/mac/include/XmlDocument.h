// Parsed XML documents as libxml2 has them, and the ways from and to their texts. libxml2's own messages go
// nowhere.
#pragma once

#include <memory>
#include <optional>
#include <string>

struct _xmlDoc;
struct _xmlNode;

struct XmlDocDeleter {
    void operator()(_xmlDoc *document) const noexcept;
};
using XmlDoc = std::unique_ptr<_xmlDoc, XmlDocDeleter>;

// Null for a file that cannot be read whole or is no document, which is told on standard error. Says by
// isWhole whether that was the system's doing: another try a moment later may read it.
XmlDoc parseXmlFile(const char *fileName, bool &isWhole);
// The same of a buffer, which is not needed afterwards; silent. Throws std::bad_alloc, since the text may
// then be a document all the same.
XmlDoc parseXml(const char *buffer, unsigned long size);

enum class XmlForm { asItStands, indented };

// The document as a file has it, in this encoding or, without one, in no particular one. None without a
// document and when its text could not be had whole.
std::optional<std::string> serialiseXml(_xmlDoc *document, const char *encoding, XmlForm form);

// The markup of one of its nodes, as it stands.
std::optional<std::string> serialiseXml(_xmlDoc *document, _xmlNode *node);

// Replaces a file by the document's text, at once. The number of bytes, or -1: without a document, when it
// has no text that is a document again, or when it could not be written. The file is then as it was.
int saveXml(_xmlDoc *document, const std::string &fileName, const char *encoding, XmlForm form);
