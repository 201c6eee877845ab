#include "Release.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

int Places::lineOf(const std::string &pointer) const {
    for (std::string place = pointer; !place.empty(); place.erase(place.rfind('/'))) {
        const auto found = m_lines.find(place);
        if (found != m_lines.end())
            return found->second;
    }
    return 1;
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
