#include "PositionedJson.h"

#include <iterator>
#include <vector>

#include <nlohmann/json.hpp>

#include "UnusableInput.h"

namespace {

using Json = nlohmann::json;

// Reads a text for the parser and counts its lines meanwhile.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char *;
    using reference = const char &;

    CountingIterator(const char *at, int *line)
        : m_at(at)
        , m_line(line) {}

    reference operator*() const { return *m_at; }
    CountingIterator &operator++() {
        if (*m_at++ == '\n')
            ++*m_line;
        return *this;
    }
    bool operator==(const CountingIterator &other) const { return m_at == other.m_at; }
    bool operator!=(const CountingIterator &other) const { return m_at != other.m_at; }

private:
    const char *m_at;
    int *m_line;
};

// Builds the document that the parser tells.
class Builder : public nlohmann::json_sax<Json> {
public:
    Builder(const int &line, std::string fileName, Places &places)
        : m_line(line)
        , m_fileName(std::move(fileName))
        , m_places(places) {}

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t & /*text*/) override { return add(value); }
    bool string(string_t &value) override { return add(std::move(value)); }
    bool binary(binary_t &value) override { return add(std::move(value)); }
    bool start_object(std::size_t /*size*/) override { return open(Json::object()); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t /*size*/) override { return open(Json::array()); }
    bool end_array() override { return close(); }
    bool key(string_t &name) override {
        if (inner().value->contains(name))
            throw UnusableInput(m_fileName + ":" + std::to_string(m_line) + ": " +
                                readablePlace(place() + "/" + name) + ": stands twice, expected once");
        m_key = name;
        inner().node->add(name, m_line);
        return true;
    }
    bool parse_error(std::size_t /*position*/, const std::string & /*token*/,
                     const nlohmann::detail::exception &error) override {
        // "[...] parse error at line 1, column 2: what is wrong", or without a place
        const std::string sentence = error.what();
        const std::size_t kind = sentence.find("] ") + 2;
        const std::size_t at = sentence.find(": ");
        throw UnusableInput(m_fileName + ":" + std::to_string(m_line) +
                            ": no JSON: " + sentence.substr(at == std::string::npos ? kind : at + 2));
    }

    Json take() { return std::move(m_document); }

private:
    struct Container {
        Json *value;
        PlacedValue *node;
        std::string step; // of its place
    };

    Container &inner() { return m_containers.back(); }

    std::string place() const {
        std::string place;
        for (const Container &container : m_containers)
            place += container.step;
        return place;
    }

    // A member's was made with its key.
    PlacedValue &nodeOfNext() {
        if (m_containers.empty())
            return m_places.root();
        return inner().value->is_object() ? inner().node->members.back() : inner().node->addItem(m_line);
    }

    std::string stepOfNext() {
        if (m_containers.empty())
            return "";
        return "/" + (inner().value->is_object() ? m_key : std::to_string(inner().value->size()));
    }

    Json *put(Json value) {
        if (m_containers.empty())
            return &(m_document = std::move(value));
        Json &container = *inner().value;
        if (container.is_object())
            return &(container[m_key] = std::move(value));
        container.push_back(std::move(value));
        return &container.back();
    }

    bool add(Json value) {
        static_cast<void>(nodeOfNext());
        put(std::move(value));
        return true;
    }

    bool open(Json value) {
        // Whoever reads the document goes down as many levels.
        constexpr std::size_t deepest = 32;
        if (m_containers.size() == deepest)
            throw UnusableInput(m_fileName + ":" + std::to_string(m_line) +
                                ": nested deeper than any release, expected " + std::to_string(deepest) +
                                " levels at most");
        std::string step = stepOfNext();
        PlacedValue &node = nodeOfNext();
        m_containers.push_back({put(std::move(value)), &node, std::move(step)});
        return true;
    }

    bool close() {
        m_containers.pop_back();
        return true;
    }

    const int &m_line;
    const std::string m_fileName;
    Places &m_places;
    Json m_document;
    std::vector<Container> m_containers; // those that are not closed, the outermost first
    std::string m_key;
};

} // namespace

Json parseWithPlaces(const std::string &text, const std::string &fileName, Places &places) {
    int line = 1;
    Builder builder(line, fileName, places);
    Json::sax_parse(CountingIterator(text.data(), &line), CountingIterator(text.data() + text.size(), &line),
                    &builder);
    return builder.take();
}
