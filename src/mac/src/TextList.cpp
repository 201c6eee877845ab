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

std::list<const char *> OwnedTexts::release() noexcept {
    return std::exchange(m_texts, {});
}
