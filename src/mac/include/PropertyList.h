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

    // None when there is no file, when it may not be read, has more bytes than any real list, is no XML
    // property list, or has another root than a dictionary. Throws std::system_error and std::bad_alloc when
    // the system fails to read it, which tells nothing about the list. For folders that are root's: links are
    // followed.
    static std::optional<PropertyList> read(const std::string &path);
    // The same for a folder that is open to everybody, where a link may be anybody's: it counts as no list.
    static std::optional<PropertyList> readFromOpenFolder(const std::string &path);

    // Replaces the value of a key by a dictionary of strings, in the order given.
    void setDictionary(const std::string &key,
                       const std::vector<std::pair<std::string, std::string>> &entries);

    // Writes the whole list as an XML property list, replacing the file at once: a reader sees the old or
    // the new content, never a half. A file that holds just that already stays as it is. Mode and owner of an
    // existing file stay, a new one is writable for its owner only; a link is replaced. False when it failed;
    // the file is unchanged then.
    bool write(const std::string &path) const;

    // The text of a key; none when it is missing or not a string.
    std::optional<std::string> string(const std::string &key) const;

    // The strings of an array, other elements skipped; none when the key is missing or not an array.
    std::optional<std::vector<std::string>> strings(const std::string &key) const;

private:
    struct Dictionary;

    // None when the system's library takes it for no list, or when its root is no dictionary.
    static std::optional<PropertyList> fromXml(const std::string &xml);
    // None when the system's library cannot write it.
    std::optional<std::string> toXml() const;

    std::unique_ptr<Dictionary> m_dictionary;
};
