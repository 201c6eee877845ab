#pragma once

#include <cstddef>

struct _xmlParserCtxt;

// What libxml2 makes of a text between tags that is longer than its limit when it comes in pieces: a file
// that holds one cannot be read, a buffer can (kept: replies and catalogs are read as they always were).
enum class XmlTexts { limited, unlimited };

// Watches a parser while it reads, and refuses documents on which libxml2 spends far more time than their
// length warrants: what it does with the attributes and namespaces of an element, with distinct names and
// identifiers and with declared attributes grows with the square of their number, what it does with parameter
// entities exponentially. No real document comes near these bounds. To be kept while the parser reads.
class XmlBounds {
public:
    XmlBounds(_xmlParserCtxt &parser, XmlTexts texts) noexcept;
    ~XmlBounds() = default;
    XmlBounds(const XmlBounds &) = delete;
    XmlBounds &operator=(const XmlBounds &) = delete;

    // To be asked before each block of input. Once it says no, the document has ended for the parser.
    bool mayRead() noexcept;
    void hasRead(std::size_t count) noexcept;

    // What the parser made of the document is then to be thrown away.
    bool areExceeded() const noexcept { return m_areExceeded; }

private:
    struct Hooks; // what the parser calls

    bool isWithin() const noexcept;
    bool takeFromAllowance(std::size_t count) noexcept;

    _xmlParserCtxt &m_parser;
    std::size_t m_bytes = 0;            // of the whole document
    std::size_t m_declarationBytes = 0; // read within declarations since the last one of an entity
    std::size_t m_allowance;            // of bytes of entities that are read as markup
    int m_attributes = 0;               // declared
    bool m_areExceeded = false;
};
