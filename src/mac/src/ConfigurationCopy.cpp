#include "ConfigurationCopy.h"

#include <exception>
#include <limits>

#include "Paths.h"
#include "RegularFile.h"
#include "ReplaceFile.h"

namespace {

std::optional<std::string> contentOf(const std::string &path) noexcept {
    try {
        std::optional<RegularFile> file = RegularFile::open(path, Links::follow);
        return file ? file->read(std::numeric_limits<std::size_t>::max()) : std::nullopt;
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

} // namespace

ConfigurationCopy::ConfigurationCopy() noexcept
    : m_before(contentOf(prodConfigXml))
    , m_prepared(contentOf(updatedProdConfigXml)) {
}

void ConfigurationCopy::mend() const noexcept {
    try {
        const std::optional<std::string> now = contentOf(prodConfigXml);
        // When there still is no room, nobody could be told.
        if (now && isCutShort(*now))
            static_cast<void>(rewriteFile(prodConfigXml, *m_prepared));
    } catch (const std::exception &) {
        return; // memory ran out: as if there were no room
    }
}

bool ConfigurationCopy::isCutShort(const std::string &now) const noexcept {
    return m_prepared && m_before && now != *m_before && now.size() < m_prepared->size() &&
           m_prepared->compare(0, now.size(), now) == 0;
}
