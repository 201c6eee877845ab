#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "XPath.h"
#include "XmlDocument.h"

struct _xmlNode;
struct _xmlNodeSet;

// One parsed XML document, asked and edited by XPath in plain strings.
//
// It owns the document. It is used by one thread at a time. Its diagnostics go to standard error, libxml2's
// own go nowhere. A document that could not be parsed stays usable: every query gives its empty result and
// every edit fails. The text of a node is the text directly at its start, "" when it starts with anything
// else. Text that is set is text, not markup. Nothing but the named file is ever read: neither the network
// nor external entities. Queries throw std::bad_alloc rather than give a part of an answer; edits fail then.
class LibXmlWrapper {
public:
    // Parses a file; a failure is told on standard error.
    explicit LibXmlWrapper(const std::string &fileName);
    // Parses a buffer, which is not needed afterwards; a failure is silent.
    LibXmlWrapper(const char *buffer, unsigned long size);
    ~LibXmlWrapper() = default;
    LibXmlWrapper(const LibXmlWrapper &) = delete;
    LibXmlWrapper(LibXmlWrapper &&) = delete;
    LibXmlWrapper &operator=(const LibXmlWrapper &) = delete;
    LibXmlWrapper &operator=(LibXmlWrapper &&) = delete;

    // Appends an element to the root and saves the document to the file it came from at once. Gives the
    // number of bytes written, or -1.
    int AddNewNode(const std::string &name, const std::string &content);
    // Appends an element to the one element that the expression selects; false when there is not just one.
    bool AddNewElementNode(const std::string &xpath, const std::string &name, const std::string &content);
    // Sets an attribute of the one element that the expression selects; false when there is not just one.
    bool setXPathElementAttribute(const std::string &xpath, const std::string &attribute,
                                  const std::string &value);
    // Writes the document, indented and in UTF-8. Always true, also when the file could not be written
    // (kept as shipped).
    bool SaveToFile(const std::string &fileName);
    // Replaces the output by the document, indented and in UTF-8. Always true; throws std::bad_alloc.
    bool SaveToMemory(std::string &output);
    // Sets the text of every node that the expression selects in a file, and replaces the file at once, also
    // when nothing was selected. 0, or -1 when the file or the expression cannot be read; a file that
    // cannot be opened for writing is left as it is and gives 0. The arguments must not be null.
    static int UpdateNodeWithValue(const char *filename, const char *xpathExpr, const char *value);
    // Its inner step: sets the text of every node of the set, the last first, and clears their entries. The
    // value and the entries must not be null; a null set is an empty one. Throws std::bad_alloc.
    static void update_xpath_nodes(_xmlNodeSet *nodes, const char *value);

    // The text of the one node that the expression selects; "" when there is not just one.
    std::string getXPathElement(const std::string &xpath) const;
    std::string getXPathStringValue(const std::string &xpath) const;
    // Whether the expression selects exactly one node; two are as false as none.
    bool isXPathElementExists(const std::string &xpath) const;
    // How many nodes the expression selects; none when there was no memory to ask, which is told.
    std::optional<std::size_t> countNodes(const std::string &xpath) const;
    // An attribute of the one element that the expression selects; "" when there is not just one.
    std::string getXPathElementAttribute(const std::string &xpath, const std::string &attribute) const;
    // True for the texts "true" and "TRUE" only. Throws std::exception when there is no text.
    bool getXPathBoolValue(const std::string &xpath) const;
    // The decimal number at the start of the text. Throws std::exception when there is no text or the
    // number does not fit.
    unsigned long getXPathUnsignedLongValue(const std::string &xpath) const;
    // The texts of all selected nodes, in document order.
    std::vector<std::string> getXPathAllElement(const std::string &xpath) const;
    // Of every selected node, the texts of its first child with that name joined, or the default: one entry a
    // node. Here and in attributes entities are substituted, by 10,000,000 bytes a query at most.
    std::vector<std::string> getXPathAllOptionalElement(const std::string &xpath, const std::string &child,
                                                        const std::string &defaultValue) const;
    // The same for several children at once, each as by a query of its own: for every node its text of each.
    // Many nodes are then gone through once instead of once a child.
    std::vector<std::vector<std::string>>
    getXPathAllOptionalElements(const std::string &xpath, const std::vector<std::string> &children,
                                const std::string &defaultValue) const;
    // The attribute's values, of the selected elements that have it.
    std::vector<std::string> getPropertyValue(const std::string &xpath, const std::string &attribute) const;
    // The markup of every selected node; each is printed to standard output too.
    std::vector<std::string> getAllElements(const std::string &xpath) const;

    // False when the system, and not the document, kept it from being read or from being asked: an empty
    // answer then says nothing of what is in it.
    bool isWhole() const noexcept { return m_isWhole; }

    // The root element, owned by the document; null, and told on standard error, when there is none.
    _xmlNode *PrintRootElement() const;
    // A debugging hook: walks the children of the node, or of the root element, and prints nothing.
    void PrintChildrenName(_xmlNode *node) const;

private:
    SelectedNodes select(const std::string &xpath) const;

    mutable bool m_isWhole = true; // until reading the document or asking it fails
    std::string m_fileName;
    XmlDoc m_document;
};
