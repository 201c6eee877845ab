// What property lists have in common on all systems: the way between a file and its XML.
#include "PropertyList.h"

#include <new>
#include <system_error>

#include <boost/algorithm/string/replace.hpp>

#include "RegularFile.h"
#include "ReplaceFile.h"
#include "XmlDocument.h"

namespace {

// Many times the longest real list. A parsed one takes up to 35 times as much memory.
constexpr std::size_t mostBytes = 4U << 20U;

// The same document in UTF-8; none when it is not well-formed. The systems' libraries recurse as deep as the
// text nests, and some accept much that is not XML, so nothing reaches them before libxml2, whose limits
// bound the depth, has read it.
std::optional<std::string> wellFormedUtf8(const std::string &text) {
    const XmlDoc document = parseXml(text.data(), text.size());
    if (!document)
        return std::nullopt;
    std::optional<std::string> utf8 = serialiseXml(document.get(), "UTF-8", XmlForm::asItStands);
    if (!utf8)
        throw std::bad_alloc(); // what was parsed can be written but for memory
    return utf8;
}

std::optional<std::string> readXml(const std::string &path, Links links) {
    std::optional<RegularFile> file = RegularFile::open(path, links);
    const std::optional<std::string> text = file ? file->read(mostBytes) : std::nullopt;
    return text ? wellFormedUtf8(*text) : std::nullopt;
}

// Whether this very file holds these bytes. One that cannot be read for a moment counts as another one.
bool holds(const std::string &path, const std::string &bytes) {
    try {
        std::optional<RegularFile> file = RegularFile::open(path, Links::refuse);
        return file && file->read(bytes.size()) == bytes;
    } catch (const std::system_error &) {
        return false;
    }
}

} // namespace

std::optional<PropertyList> PropertyList::read(const std::string &path) {
    const std::optional<std::string> xml = readXml(path, Links::follow);
    return xml ? fromXml(*xml) : std::nullopt;
}

std::optional<PropertyList> PropertyList::readFromOpenFolder(const std::string &path) {
    const std::optional<std::string> xml = readXml(path, Links::refuse);
    return xml ? fromXml(*xml) : std::nullopt;
}

bool PropertyList::write(const std::string &path) const {
    std::optional<std::string> xml = toXml();
    if (!xml)
        return false;
    // The systems' libraries write it as it is, and whoever reads that takes it for the end of a line.
    boost::algorithm::replace_all(*xml, "\r", "&#13;");
    // Hosts have the same record written twenty times a second, and each time would wait for the disk.
    return holds(path, *xml) || replaceFile(path, *xml);
}
