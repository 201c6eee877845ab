#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

struct _xmlBuffer;
struct _xmlTextWriter;

// An XML document in UTF-8 while it is written, indented. Every operation throws std::bad_alloc when there is
// no memory for it. A page is one that browsers read as HTML: it begins with HTML's document type, and
// elements end by tags of their own, but for those that are written as empty.
class XmlOut {
public:
    using Attributes = std::vector<std::pair<const char *, std::string>>;

    // A document type is written by its name and public and system ids.
    struct Doctype {
        const char *name;
        const char *publicId;
        const char *systemId;
    };

    enum class Kind { document, page };

    explicit XmlOut(Kind kind = Kind::document);
    ~XmlOut();
    XmlOut(const XmlOut &) = delete;
    XmlOut &operator=(const XmlOut &) = delete;

    void doctype(const Doctype &doctype);
    void open(const char *element, const Attributes &attributes = {});
    void close();
    void empty(const char *element, const Attributes &attributes);
    void leaf(const char *element, const std::string &text);
    void leaf(const char *element, const Attributes &attributes, const std::string &text);
    // Writes nothing for an empty text.
    void optionalLeaf(const char *element, const std::string &text);

    // Closes what is open. To be called once, in the end.
    std::string text();

private:
    struct FreeBuffer {
        void operator()(_xmlBuffer *buffer) const noexcept;
    };
    struct FreeWriter {
        void operator()(_xmlTextWriter *writer) const noexcept;
    };

    const Kind m_kind;
    std::unique_ptr<_xmlBuffer, FreeBuffer> m_buffer;
    std::unique_ptr<_xmlTextWriter, FreeWriter> m_writer; // of the buffer
};
