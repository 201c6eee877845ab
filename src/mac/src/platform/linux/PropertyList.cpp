#include "PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include <plist/plist.h>

namespace {

struct PlistDeleter {
    void operator()(void *node) const noexcept { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

struct PlistXmlDeleter {
    void operator()(char *text) const noexcept { plist_to_xml_free(text); }
};

plist_t orThrow(plist_t made) {
    if (made == nullptr)
        throw std::bad_alloc();
    return made;
}

std::optional<std::string> stringOf(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING)
        return std::nullopt;
    std::uint64_t length = 0;
    const char *text = plist_get_string_ptr(node, &length);
    return text ? std::optional(std::string(text, length)) : std::nullopt;
}

// libplist moves the rest of a text for each reference in it. No real text holds so many.
bool holdsTooManyReferences(const std::string &xml) {
    constexpr std::size_t mostReferences = 4000; // of one text
    std::size_t references = 0;
    for (const char character : xml) {
        if (character == '<')
            references = 0;
        else if (character == '&' && ++references > mostReferences)
            return true;
    }
    return false;
}

std::optional<std::string> xmlOf(plist_t node) {
    char *xml = nullptr;
    std::uint32_t size = 0;
    plist_to_xml(node, &xml, &size);
    const std::unique_ptr<char, PlistXmlDeleter> owner(xml);
    return owner ? std::optional(std::string(xml, size)) : std::nullopt;
}

} // namespace

struct PropertyList::Dictionary {
    Plist root;
};

PropertyList::PropertyList()
    : m_dictionary(std::make_unique<Dictionary>(Dictionary{Plist(orThrow(plist_new_dict()))})) {
}

PropertyList::~PropertyList() = default;
PropertyList::PropertyList(PropertyList &&other) noexcept = default;
PropertyList &PropertyList::operator=(PropertyList &&other) noexcept = default;

// libplist reads UTF-8 only, whatever the text says of its encoding.
std::optional<PropertyList> PropertyList::fromXml(const std::string &xml) {
    if (holdsTooManyReferences(xml))
        return std::nullopt;
    plist_t node = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &node);
    Plist root(node);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;
    PropertyList list;
    list.m_dictionary->root = std::move(root);
    return list;
}

void PropertyList::setDictionary(const std::string &key,
                                 const std::vector<std::pair<std::string, std::string>> &entries) {
    Plist dictionary(orThrow(plist_new_dict()));
    for (const auto &[name, text] : entries)
        plist_dict_set_item(dictionary.get(), name.c_str(), orThrow(plist_new_string(text.c_str())));
    plist_dict_set_item(m_dictionary->root.get(), key.c_str(), dictionary.release());
}

std::optional<std::string> PropertyList::toXml() const {
    // Without memory libplist leaves values out and does not tell. Another time it would be others.
    std::optional<std::string> xml = xmlOf(m_dictionary->root.get());
    return xml == xmlOf(m_dictionary->root.get()) ? std::move(xml) : std::nullopt;
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
