#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// One property list file whose root is a dictionary. Values that the engine does not know (dates, data,
// numbers, nested collections) survive a rewrite unchanged. Used by one thread at a time.
class PropertyList {
public:
    // An empty dictionary.
    PropertyList();
    ~PropertyList();
    PropertyList(PropertyList &&other) noexcept;
    PropertyList &operator=(PropertyList &&other) noexcept;
    PropertyList(const PropertyList &) = delete;
    PropertyList &operator=(const PropertyList &) = delete;

    // None when the file cannot be read, is not a property list, or has another root than a dictionary.
    static std::optional<PropertyList> read(const std::string &path);

    // Replaces the value of a key by a dictionary of strings, in the order given.
    void setDictionary(const std::string &key,
                       const std::vector<std::pair<std::string, std::string>> &entries);

    // Writes the whole list as an XML property list, replacing the file at once: a reader sees the old or
    // the new content, never a half. Mode and owner of an existing file stay. False when it failed; the
    // file is unchanged then.
    bool write(const std::string &path) const;

    // The text of a key; none when it is missing or not a string.
    std::optional<std::string> string(const std::string &key) const;

    // The strings of an array, other elements skipped; none when the key is missing or not an array.
    std::optional<std::vector<std::string>> strings(const std::string &key) const;

private:
    struct Dictionary;

    std::unique_ptr<Dictionary> m_dictionary;
};
