#include "PropertyList.h"

#include <climits>
#include <cstdint>
#include <fstream>
#include <sstream>

#include <libxml/parser.h>
#include <plist/plist.h>

#include "ReplaceFile.h"
#include "XmlDocument.h"

namespace {

struct PlistDeleter {
    void operator()(void *node) const noexcept { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

struct PlistXmlDeleter {
    void operator()(char *text) const noexcept { plist_to_xml_free(text); }
};

struct XmlTextDeleter {
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};

// The same document in UTF-8; none when it is not well-formed. libplist reads UTF-8 only, accepts much
// that is not XML, and recurses as deep as the text nests, so nothing reaches it before libxml2, whose
// limits bound the depth, has read it.
std::optional<std::string> wellFormedUtf8(const std::string &xml) {
    if (xml.size() > INT_MAX)
        return std::nullopt;
    const XmlDoc document(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                                        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!document)
        return std::nullopt;
    xmlChar *text = nullptr;
    int size = 0;
    xmlDocDumpMemoryEnc(document.get(), &text, &size, "UTF-8");
    const std::unique_ptr<xmlChar, XmlTextDeleter> owner(text);
    if (!owner)
        return std::nullopt;
    return std::string(text, text + size);
}

std::optional<std::string> stringOf(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING)
        return std::nullopt;
    std::uint64_t length = 0;
    const char *text = plist_get_string_ptr(node, &length);
    return std::string(text, length);
}

} // namespace

struct PropertyList::Dictionary {
    Plist root;
};

PropertyList::PropertyList()
    : m_dictionary(std::make_unique<Dictionary>(Dictionary{Plist(plist_new_dict())})) {
}

PropertyList::~PropertyList() = default;
PropertyList::PropertyList(PropertyList &&other) noexcept = default;
PropertyList &PropertyList::operator=(PropertyList &&other) noexcept = default;

std::optional<PropertyList> PropertyList::read(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf(); // what cannot be read is not well-formed
    const std::optional<std::string> xml = wellFormedUtf8(bytes.str());
    if (!xml)
        return std::nullopt;
    plist_t node = nullptr;
    plist_from_xml(xml->data(), static_cast<std::uint32_t>(xml->size()), &node);
    Plist root(node);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;
    PropertyList list;
    list.m_dictionary->root = std::move(root);
    return list;
}

void PropertyList::setDictionary(const std::string &key,
                                 const std::vector<std::pair<std::string, std::string>> &entries) {
    Plist dictionary(plist_new_dict());
    for (const auto &[name, text] : entries)
        plist_dict_set_item(dictionary.get(), name.c_str(), plist_new_string(text.c_str()));
    plist_dict_set_item(m_dictionary->root.get(), key.c_str(), dictionary.release());
}

bool PropertyList::write(const std::string &path) const {
    char *xml = nullptr;
    std::uint32_t size = 0;
    plist_to_xml(m_dictionary->root.get(), &xml, &size);
    const std::unique_ptr<char, PlistXmlDeleter> owner(xml);
    return owner && replaceFile(path, {xml, size});
}

std::optional<std::string> PropertyList::string(const std::string &key) const {
    return stringOf(plist_dict_get_item(m_dictionary->root.get(), key.c_str()));
}

std::optional<std::vector<std::string>> PropertyList::strings(const std::string &key) const {
    plist_t array = plist_dict_get_item(m_dictionary->root.get(), key.c_str());
    if (array == nullptr || plist_get_node_type(array) != PLIST_ARRAY)
        return std::nullopt;
    std::vector<std::string> texts;
    for (std::uint32_t index = 0; index < plist_array_get_size(array); ++index) {
        if (std::optional<std::string> text = stringOf(plist_array_get_item(array, index)))
            texts.push_back(std::move(*text));
    }
    return texts;
}
