// Asking libxml2's documents by XPath. Diagnostics go to standard error, libxml2's own messages nowhere. All
// of these throw std::bad_alloc when an evaluation runs out of memory: half an answer would be taken for a
// whole one.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct _xmlDoc;
struct _xmlNode;
struct _xmlNodeSet;
struct _xmlXPathContext;
struct _xmlXPathObject;

struct XPathContextDeleter {
    void operator()(_xmlXPathContext *context) const noexcept;
};
using XmlXPathContext = std::unique_ptr<_xmlXPathContext, XPathContextDeleter>;

struct XPathObjectDeleter {
    void operator()(_xmlXPathObject *object) const noexcept;
};
using XmlXPathObject = std::unique_ptr<_xmlXPathObject, XPathObjectDeleter>;

// Null, and told, when there is no memory for it.
XmlXPathContext makeXPathContext(_xmlDoc *document);
// Null, silently, for what is no expression.
XmlXPathObject evaluateXPath(_xmlXPathContext &context, const char *xpath);
void printEvaluationError(const char *xpath);

// The nodes of a result. Its namespace nodes belong to it, all others to the document.
class SelectedNodes {
public:
    // The nodes that an expression selects in a document, which may be null.
    static SelectedNodes of(_xmlDoc *document, const std::string &xpath);

    explicit SelectedNodes(XmlXPathObject result);

    std::size_t size() const;
    _xmlNode **begin() const;
    _xmlNode **end() const { return begin() + size(); }
    // The node when there is just one, else null.
    _xmlNode *single() const { return size() == 1 ? *begin() : nullptr; }
    // The same when it is an element.
    _xmlNode *singleElement() const;
    // False when there was no memory to ask, so that having no nodes says nothing.
    bool areKnown() const noexcept { return m_areKnown; }

private:
    const _xmlNodeSet *set() const;

    XmlXPathObject m_result;
    bool m_areKnown = true;
};
