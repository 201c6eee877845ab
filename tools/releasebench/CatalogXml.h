// A catalog's own markup with the lines that things stand on. What a catalog says to the engine is told by
// the engine's parser alone.
#pragma once

#include <string>
#include <vector>

#include "XmlDocument.h"

class CatalogXml {
public:
    // Throws UnusableInput for a file that cannot be read; one that is no document has a fault.
    explicit CatalogXml(const std::string &file);

    // Null for what is no document.
    const _xmlNode *root() const;
    // As the engine selects them.
    const std::vector<_xmlNode *> &hotFixes() const { return m_hotFixes; }
    // The elements that an expression selects.
    std::vector<_xmlNode *> elements(const std::string &xpath) const;

    // Whether the engine takes it for a document, which it does with fewer than libxml2.
    bool isReadByEngine() const { return m_isReadByEngine; }
    const std::string &fault() const { return m_fault; }
    int faultLine() const { return m_faultLine; }

    // The line that a node begins on, whatever the length of the document.
    static int lineOf(const _xmlNode *node);
    // The whole text of an element, with that of its children.
    static std::string wholeText(const _xmlNode *node);
    static const _xmlNode *child(const _xmlNode *parent, const std::string &name);

private:
    XmlDoc m_document;
    std::vector<_xmlNode *> m_hotFixes;
    bool m_isReadByEngine = false;
    std::string m_fault;
    int m_faultLine = 1;
};
