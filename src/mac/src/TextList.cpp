#include "TextList.h"

#include <cstring>
#include <utility>

void freeTexts(std::list<const char *> &texts) noexcept {
    for (const char *text : texts)
        delete[] text;
    texts.clear();
}

void OwnedTexts::append(const std::string &text) {
    // The entry comes first, so that the copy has an owner from its first moment.
    const char *&entry = m_texts.emplace_back(nullptr);
    auto *copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    entry = copy;
}

void OwnedTexts::removeEqual(const char *text) {
    std::list<const char *> removed;
    for (auto entry = m_texts.begin(); entry != m_texts.end();) {
        const auto current = entry++;
        if (std::strcmp(*current, text) == 0)
            removed.splice(removed.end(), m_texts, current);
    }
    freeTexts(removed);
}

std::list<const char *> OwnedTexts::release() noexcept {
    return std::exchange(m_texts, {});
}
