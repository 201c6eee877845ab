#include "Release.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace {

// The number of the member that a pointer's next step names; the count of members when it names none. A key
// may hold what separates steps, so that the longest that fits is meant.
std::size_t memberAt(const PlacedValue &node, std::string_view pointer, std::size_t &length) {
    std::size_t found = node.members.size();
    length = 0;
    for (std::size_t i = 0; i < node.members.size(); ++i) {
        const std::string_view key = node.keys[i];
        const bool isNamed = pointer.substr(0, key.size()) == key &&
                             (pointer.size() == key.size() || pointer[key.size()] == '/');
        if (isNamed && (found == node.members.size() || key.size() > length)) {
            found = i;
            length = key.size();
        }
    }
    return found;
}

std::size_t itemAt(const PlacedValue &node, std::string_view pointer, std::size_t &length) {
    length = std::min(pointer.find('/'), pointer.size());
    std::size_t item = 0;
    const auto [end, error] = std::from_chars(pointer.data(), pointer.data() + length, item);
    const bool isNumber = error == std::errc() && end == pointer.data() + length;
    return isNumber ? std::min(item, node.members.size()) : node.members.size();
}

} // namespace

PlacedValue &PlacedValue::add(std::string key, int itsLine) {
    keys.push_back(std::move(key));
    return addItem(itsLine);
}

PlacedValue &PlacedValue::addItem(int itsLine) {
    members.emplace_back();
    members.back().line = itsLine;
    return members.back();
}

int Places::lineOf(const std::string &pointer) const {
    const PlacedValue *node = &m_root;
    std::string_view rest = pointer;
    while (!rest.empty()) {
        rest.remove_prefix(1); // "/"
        std::size_t length = 0;
        const std::size_t member =
            node->keys.empty() ? itemAt(*node, rest, length) : memberAt(*node, rest, length);
        if (member == node->members.size())
            break;
        node = &node->members[member];
        rest.remove_prefix(length);
    }
    return node->line;
}

const ReleaseCatalog &Release::catalogNamed(const std::string &name) const {
    const auto found = std::find_if(catalogs.begin(), catalogs.end(),
                                    [&name](const ReleaseCatalog &catalog) { return catalog.name == name; });
    if (found == catalogs.end())
        throw std::out_of_range("no catalog named " + name);
    return *found;
}

std::string Release::at(const std::string &place) const {
    const std::string line = file().string() + ":" + std::to_string(places.lineOf(place));
    return place.empty() ? line : line + ": " + readablePlace(place);
}

std::string readablePlace(const std::string &pointer) {
    std::string text;
    std::istringstream steps(pointer.empty() ? pointer : pointer.substr(1));
    for (std::string step; std::getline(steps, step, '/');) {
        if (!step.empty() && step.find_first_not_of("0123456789") == std::string::npos)
            text += "[" + step + "]";
        else
            text += (text.empty() ? "" : ".") + step;
    }
    return text;
}
