#include "NamedValues.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "Characters.h"

namespace {

bool isOfName(char character) {
    return isWord(character) || character == '_' || character == '-';
}

// In lower case, without what only divides words.
std::string plainName(std::string_view name) {
    std::string plain;
    for (const char character : name) {
        if (character != '_' && character != '-')
            plain += lowerCase(character);
    }
    return plain;
}

constexpr std::size_t longestName = 24;
constexpr std::string_view beginnings = "aclpsACLPS"; // of all of these names
// So far the end of an element is looked for, when other markup stands in it.
constexpr std::size_t longestContent = 256;

template <std::size_t size>
bool isOneOf(const std::string &name, const std::array<std::string_view, size> &names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isOfAffiliate(const std::string &name) {
    static constexpr std::array<std::string_view, 4> names = {"affid", "affiliate", "affiliateid",
                                                              "curprodaffid"};
    return isOneOf(name, names);
}

bool isOfLicence(const std::string &name) {
    static constexpr std::array<std::string_view, 20> names = {
        "license",       "licence",        "licensekey",      "licencekey",     "licensenumber",
        "licencenumber", "licenseno",      "licenceno",       "licenseid",      "licenceid",
        "licensecode",   "licencecode",    "serial",          "serialnumber",   "serialno",
        "activationkey", "activationcode", "subscriptionkey", "subscriptionid", "productkey"};
    return isOneOf(name, names);
}

// Where a value stands.
struct Span {
    std::size_t begin;
    std::size_t end;
};

// What a text has at a place, read from the left to the right.
class Cursor {
public:
    Cursor(std::string_view text, std::size_t place)
        : m_text(text)
        , m_place(place) {}

    bool takes(std::string_view expected) {
        if (m_text.substr(m_place, expected.size()) != expected)
            return false;
        m_place += expected.size();
        return true;
    }
    void skipBlanks() {
        while (m_place < m_text.size() && isBlank(m_text[m_place]))
            ++m_place;
    }
    void skipSpaces() {
        while (m_place < m_text.size() && (m_text[m_place] == ' ' || m_text[m_place] == '\t'))
            ++m_place;
    }
    // Up to the first of these, or to the end.
    Span until(std::string_view ends) const {
        return {m_place, std::min(m_text.find_first_of(ends, m_place), m_text.size())};
    }
    // Up to that text, or to the line's end where it does not come soon: nobody looks through a whole log for
    // the end of what one line begins.
    Span upTo(std::string_view end) const {
        const std::string_view near = m_text.substr(m_place, longestContent);
        const std::size_t found = near.find(end);
        const std::size_t length =
            found == std::string_view::npos ? std::min(near.find('\r'), near.find('\n')) : found;
        return {m_place, m_place + std::min(length, near.size())};
    }
    void goTo(std::size_t place) { m_place = place; }
    std::size_t place() const { return m_place; }

private:
    std::string_view m_text;
    std::size_t m_place;
};

Span trimmed(std::string_view text, Span span) {
    while (span.begin < span.end && isBlank(text[span.begin]))
        ++span.begin;
    while (span.begin < span.end && isBlank(text[span.end - 1]))
        --span.end;
    return span;
}

bool isNamed(std::string_view tag, std::string_view name) {
    while (!tag.empty() && isBlank(tag.back()))
        tag.remove_suffix(1);
    const std::size_t colon = tag.find(':');
    return (colon == std::string_view::npos ? tag : tag.substr(colon + 1)) == name;
}

// Where an element ends, with whatever stands in it: comments, parts that are no markup, other elements.
std::optional<std::size_t> endOfElement(std::string_view text, std::size_t begin, std::string_view name) {
    const std::string_view near = text.substr(begin, longestContent);
    for (std::size_t end = near.find("</"); end != std::string_view::npos; end = near.find("</", end + 1)) {
        const std::size_t close = near.find('>', end);
        if (close == std::string_view::npos)
            return std::nullopt;
        if (isNamed(near.substr(end + 2, close - end - 2), name))
            return begin + end;
    }
    return std::nullopt;
}

// Of one that holds nothing but a part that is no markup, what stands in that.
Span contentOfElement(std::string_view text, Cursor cursor, std::string_view name) {
    constexpr std::string_view opening = "<![CDATA[";
    constexpr std::string_view closing = "]]>";
    const std::optional<std::size_t> end = endOfElement(text, cursor.place(), name);
    const Span span = trimmed(text, end ? Span{cursor.place(), *end} : cursor.until("<"));
    const std::string_view content = text.substr(span.begin, span.end - span.begin);
    const bool isPlainOnly = content.substr(0, opening.size()) == opening &&
                             content.find(closing) == content.size() - closing.size();
    return isPlainOnly ? Span{span.begin + opening.size(), span.end - closing.size()} : span;
}

// The value of a query that stands within another one: up to the next sign that divides there.
Span withinQuery(std::string_view text, Cursor cursor) {
    Span span = cursor.until("&#\"'<>; \t\r\n");
    const std::string_view value = text.substr(span.begin, span.end - span.begin);
    for (const char *const sign :
         {"%26", "%23", "%3B", "%3b", "%22", "%27", "%20", "%3C", "%3c", "%0A", "%0a"})
        span.end = std::min(span.end, span.begin + std::min(value.find(sign), value.size()));
    return span;
}

// "affid=105", "affid="105"", and as it stands in the query of a URL within another one.
std::optional<Span> behindEquals(std::string_view text, Cursor cursor) {
    if (cursor.takes("%3D") || cursor.takes("%3d"))
        return withinQuery(text, cursor);
    cursor.skipSpaces();
    if (!cursor.takes("="))
        return std::nullopt;
    Cursor quoted = cursor;
    quoted.skipBlanks();
    if (quoted.takes("\""))
        return quoted.upTo("\"");
    if (quoted.takes("\\\""))
        return quoted.upTo("\\\"");
    if (quoted.takes("&quot;"))
        return quoted.upTo("&quot;");
    if (quoted.takes("'"))
        return quoted.upTo("'");
    return cursor.until("&#\"'<>;, \t\r\n/");
}

// "CurProdAffId: 105-1" up to the line's end, and ""affid": "105"", also as a text within another one.
std::optional<Span> behindColon(Cursor cursor) {
    static_cast<void>(cursor.takes("\\"));
    static_cast<void>(cursor.takes("\""));
    cursor.skipSpaces();
    if (!cursor.takes(":"))
        return std::nullopt;
    cursor.skipSpaces();
    if (cursor.takes("\\\""))
        return cursor.upTo("\\\"");
    return cursor.takes("\"") ? cursor.upTo("\"") : cursor.until("\"<,\r\n");
}

// "<setting name="affid" value="105"/>" and "<entry key="affid">105</entry>", behind the name.
std::optional<Span> behindQuotes(std::string_view text, Cursor cursor) {
    if (!cursor.takes("\"") && !cursor.takes("'"))
        return std::nullopt;
    cursor.skipBlanks();
    if (cursor.takes(">"))
        return cursor.until("<");
    for (const char *const name : {"value", "content", "string"}) {
        if (cursor.takes(name))
            return behindEquals(text, cursor);
    }
    return std::nullopt;
}

// "<AffID>105</AffID>", behind the name.
std::optional<Span> inElement(std::string_view text, Cursor cursor, std::string_view name) {
    const Span attributes = cursor.upTo(">");
    cursor.goTo(attributes.end);
    const std::string_view between = text.substr(attributes.begin, attributes.end - attributes.begin);
    const bool isElement = between.empty() || (isBlank(between.front()) && between.back() != '/' &&
                                               between.find('<') == std::string_view::npos);
    if (!isElement || !cursor.takes(">"))
        return std::nullopt;
    return contentOfElement(text, cursor, name);
}

// The same, in a text that stands in another document: "&lt;AffID&gt;105&lt;/AffID&gt;".
std::optional<Span> inEscapedElement(Cursor cursor) {
    return cursor.takes("&gt;") ? std::optional(cursor.upTo("&lt;")) : std::nullopt;
}

// "<key>AffID</key> <string>105</string>", behind the name.
std::optional<Span> behindKey(std::string_view text, Cursor cursor) {
    cursor.skipBlanks();
    if (!cursor.takes("</key>"))
        return std::nullopt;
    cursor.skipBlanks();
    while (cursor.takes("<!--")) {
        cursor.goTo(cursor.upTo("-->").end);
        if (!cursor.takes("-->"))
            return std::nullopt;
        cursor.skipBlanks();
    }
    for (const std::string name : {"string", "integer", "real", "data", "array"}) {
        if (cursor.takes("<" + name))
            return inElement(text, cursor, name);
    }
    return std::nullopt;
}

std::optional<Span> valueOf(std::string_view text, std::size_t nameBegin, std::size_t nameEnd) {
    const Cursor behind(text, nameEnd);
    const char before = nameBegin == 0 ? ' ' : text[nameBegin - 1];
    if (before == '<' || before == ':') {
        if (const auto value = inElement(text, behind, text.substr(nameBegin, nameEnd - nameBegin)))
            return value;
    }
    if (before == ';') {
        if (const auto value = inEscapedElement(behind))
            return value;
    }
    if (const auto value = behindKey(text, behind))
        return value;
    if (const auto value = behindEquals(text, behind))
        return value;
    if (const auto value = behindColon(behind))
        return value;
    return behindQuotes(text, behind);
}

// A byte as URLs have it: "%3F".
bool isEscape(std::string_view text, std::size_t place) {
    return text[place] == '%' && place + 2 < text.size() && isHex(text[place + 1]) && isHex(text[place + 2]);
}

} // namespace

std::vector<NamedValue> namedValuesIn(std::string_view text) {
    std::vector<NamedValue> found;
    std::size_t place = 0;
    while (place < text.size()) {
        if (!isOfName(text[place])) {
            place += isEscape(text, place) ? 3U : 1U;
            continue;
        }
        const std::size_t begin = place;
        while (place < text.size() && isOfName(text[place]))
            ++place;
        if (place - begin > longestName || beginnings.find(text[begin]) == std::string_view::npos)
            continue;
        const std::string name = plainName(text.substr(begin, place - begin));
        if (!isOfAffiliate(name) && !isOfLicence(name))
            continue;
        const std::optional<Span> value = valueOf(text, begin, place);
        if (!value)
            continue;
        const Span span = trimmed(text, *value);
        if (span.begin == span.end)
            continue;
        found.push_back(
            {span.begin, span.end, isOfAffiliate(name) ? SecretKind::affiliate : SecretKind::licence});
        place = span.end;
    }
    return found;
}
