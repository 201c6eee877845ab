#include "BundleMask.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isWord(char character) {
    return isDigit(character) || (character >= 'a' && character <= 'z') ||
           (character >= 'A' && character <= 'Z') || (static_cast<unsigned char>(character) & 0x80U) != 0;
}

bool isOfName(char character) {
    return isWord(character) || character == '_' || character == '-';
}

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

// In lower case, without what only divides words.
std::string plainName(std::string_view name) {
    std::string plain;
    for (const char character : name) {
        if (character != '_' && character != '-')
            plain +=
                character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    }
    return plain;
}

constexpr std::size_t longestName = 24;
constexpr std::string_view beginnings = "aclpsACLPS"; // of all of these names
// A longer value is masked behind its name only.
constexpr std::size_t longestKnown = 200;

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
    Span untilText(std::string_view end) const {
        return {m_place, std::min(m_text.find(end, m_place), m_text.size())};
    }
    void goTo(std::size_t place) { m_place = place; }
    std::size_t place() const { return m_place; }

private:
    std::string_view m_text;
    std::size_t m_place;
};

Span contentOfElement(Cursor cursor) {
    return cursor.takes("<![CDATA[") ? cursor.untilText("]]>") : cursor.until("<");
}

// "affid=105", "affid="105"", and as it stands in the query of a URL within another one.
std::optional<Span> behindEquals(Cursor cursor) {
    if (cursor.takes("%3D") || cursor.takes("%3d"))
        return cursor.until("%&#\"'<>; \t\r\n");
    cursor.skipSpaces();
    if (!cursor.takes("="))
        return std::nullopt;
    Cursor quoted = cursor;
    quoted.skipBlanks();
    if (quoted.takes("\""))
        return quoted.until("\"");
    if (quoted.takes("'"))
        return quoted.until("'");
    return cursor.until("&#\"'<>;, \t\r\n/");
}

// "CurProdAffId: 105-1" up to the line's end, and ""affid": "105"".
std::optional<Span> behindColon(Cursor cursor) {
    cursor.takes("\"");
    cursor.skipSpaces();
    if (!cursor.takes(":"))
        return std::nullopt;
    cursor.skipSpaces();
    return cursor.takes("\"") ? cursor.until("\"") : cursor.until("\"<,\r\n");
}

// "<AffID>105</AffID>", behind the name.
std::optional<Span> inElement(Cursor cursor) {
    const Span attributes = cursor.until("<>/");
    cursor.goTo(attributes.end);
    if (!cursor.takes(">"))
        return std::nullopt;
    return contentOfElement(cursor);
}

// "<key>AffID</key> <string>105</string>", behind the name.
std::optional<Span> behindKey(Cursor cursor) {
    cursor.skipBlanks();
    if (!cursor.takes("</key>"))
        return std::nullopt;
    cursor.skipBlanks();
    if (!cursor.takes("<string>") && !cursor.takes("<integer>"))
        return std::nullopt;
    return contentOfElement(cursor);
}

std::optional<Span> valueOf(std::string_view text, std::size_t nameBegin, std::size_t nameEnd) {
    const Cursor behind(text, nameEnd);
    const char before = nameBegin == 0 ? ' ' : text[nameBegin - 1];
    if (before == '<' || before == ':') {
        if (const auto value = inElement(behind))
            return value;
    }
    if (const auto value = behindKey(behind))
        return value;
    if (const auto value = behindEquals(behind))
        return value;
    return behindColon(behind);
}

Span trimmed(std::string_view text, Span span) {
    while (span.begin < span.end && isBlank(text[span.begin]))
        ++span.begin;
    while (span.begin < span.end && isBlank(text[span.end - 1]))
        --span.end;
    return span;
}

// What a version, a build number or a number of anything may look like too.
bool isLikeNumber(std::string_view value) {
    constexpr std::size_t shortest = 4;
    return value.size() < shortest || std::all_of(value.begin(), value.end(), [](char character) {
               return isDigit(character) || character == '.';
           });
}

// Whether it is a folder or a file of a path or URL.
bool isSegment(std::string_view text, std::size_t begin, std::size_t end) {
    constexpr std::string_view ends = "/?#&\"'<> \t\r\n";
    return begin > 0 && text[begin - 1] == '/' &&
           (end == text.size() || ends.find(text[end]) != std::string_view::npos);
}

} // namespace

const std::string BundleMask::affiliate = "masked_affiliate";
const std::string BundleMask::licence = "masked_licence";

std::vector<BundleMask::Named> BundleMask::namedIn(std::string_view text) {
    std::vector<Named> found;
    std::size_t place = 0;
    while (place < text.size()) {
        if (!isOfName(text[place])) {
            ++place;
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
        found.push_back({span.begin, span.end, isOfAffiliate(name) ? Kind::affiliate : Kind::licence});
        place = span.end;
    }
    return found;
}

void BundleMask::learn(const std::string &text) {
    for (const Named &named : namedIn(text)) {
        const std::string value = text.substr(named.begin, named.end - named.begin);
        if (value == affiliate || value == licence || value.size() > longestKnown)
            continue;
        m_known.emplace(value, named.kind);
        m_lengths.insert(value.size());
    }
}

std::string BundleMask::masked(const std::string &text, MaskCount &count) const {
    std::string result;
    std::size_t behind = 0;
    for (const Named &named : namedIn(text)) {
        result.append(withoutKnown(text.substr(behind, named.begin - behind), count));
        const std::string value = text.substr(named.begin, named.end - named.begin);
        if (value == affiliate || value == licence)
            result.append(value);
        else
            append(result, named.kind, count);
        behind = named.end;
    }
    return result.append(withoutKnown(text.substr(behind), count));
}

std::string BundleMask::withoutKnown(const std::string &text, MaskCount &count) const {
    if (m_known.empty())
        return text;
    std::string result;
    std::size_t place = 0;
    while (place < text.size()) {
        const bool beginsWord = isWord(text[place]) && (place == 0 || !isWord(text[place - 1]));
        Kind kind{};
        const std::size_t length = beginsWord ? knownAt(text, place, kind) : 0;
        if (length == 0) {
            result += text[place];
            ++place;
            continue;
        }
        append(result, kind, count);
        place += length;
    }
    return result;
}

std::size_t BundleMask::knownAt(std::string_view text, std::size_t begin, Kind &kind) const {
    for (const std::size_t length : m_lengths) {
        const std::size_t end = begin + length;
        if (end > text.size() || (end < text.size() && isWord(text[end])))
            continue;
        const std::string value(text.substr(begin, length));
        const auto known = m_known.find(value);
        if (known == m_known.end() || (isLikeNumber(value) && !isSegment(text, begin, end)))
            continue;
        kind = known->second;
        return length;
    }
    return 0;
}

void BundleMask::append(std::string &text, Kind kind, MaskCount &count) {
    text += kind == Kind::affiliate ? affiliate : licence;
    ++(kind == Kind::affiliate ? count.affiliates : count.licences);
}
