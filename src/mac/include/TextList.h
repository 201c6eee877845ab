// Lists of zero-terminated texts, each allocated with new[]: the form in which the operations hand URLs and
// paths to one another.
#pragma once

#include <list>
#include <string>

// Frees every text of the list and empties it.
void freeTexts(std::list<const char *> &texts) noexcept;

// Owns the texts of one list.
class OwnedTexts {
public:
    OwnedTexts() = default;
    explicit OwnedTexts(std::list<const char *> texts)
        : m_texts(std::move(texts)) {}
    ~OwnedTexts() { freeTexts(m_texts); }
    OwnedTexts(const OwnedTexts &) = delete;
    OwnedTexts &operator=(const OwnedTexts &) = delete;

    void append(const std::string &text);
    // Hands the texts and their ownership on.
    std::list<const char *> release() noexcept;

    std::list<const char *> &list() noexcept { return m_texts; }

private:
    std::list<const char *> m_texts;
};
