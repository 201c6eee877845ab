#include "ValueForms.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "Characters.h"

namespace {

constexpr std::array<std::pair<std::string_view, char>, 5> entities = {
    {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}}};

void removeAll(std::string &text, std::string_view begin, std::string_view end) {
    for (std::size_t place = text.find(begin); place != std::string::npos; place = text.find(begin, place)) {
        const std::size_t last = text.find(end, place);
        text.erase(place, last == std::string::npos ? last : last + end.size() - place);
    }
}

// What markup makes of a text, without elements.
std::string withoutMarkup(std::string_view value) {
    std::string text(value);
    removeAll(text, "<!--", "-->");
    for (const std::string_view mark : {"<![CDATA[", "]]>"})
        removeAll(text, mark, mark);
    return text;
}

// "&#45;" and "&#x2d;"; those beyond ASCII stay.
bool takeCharacter(std::string_view text, std::size_t &place, std::string &result) {
    const std::size_t end = text.substr(place, 10).find(';');
    if (text.substr(place, 2) != "&#" || end == std::string_view::npos)
        return false;
    const std::string number(text.substr(place + 2, end - 2));
    const bool isHexadecimal = !number.empty() && (number.front() == 'x' || number.front() == 'X');
    const long code = isHexadecimal ? std::strtol(number.c_str() + 1, nullptr, 16)
                                    : std::strtol(number.c_str(), nullptr, 10);
    if (code <= 0 || code > 0x7f)
        return false;
    result += static_cast<char>(code);
    place += end + 1;
    return true;
}

bool takeEntity(std::string_view text, std::size_t &place, std::string &result) {
    for (const auto &[entity, character] : entities) {
        if (text.substr(place, entity.size()) == entity) {
            result += character;
            place += entity.size();
            return true;
        }
    }
    return false;
}

bool takeEscape(std::string_view text, std::size_t &place, std::string &result) {
    if (text[place] != '%' || place + 2 >= text.size() || !isHex(text[place + 1]) || !isHex(text[place + 2]))
        return false;
    const std::string number(text.substr(place + 1, 2));
    result += static_cast<char>(std::strtol(number.c_str(), nullptr, 16));
    place += 3;
    return true;
}

std::string decoded(std::string_view text) {
    std::string result;
    for (std::size_t place = 0; place < text.size();) {
        if (!takeCharacter(text, place, result) && !takeEntity(text, place, result) &&
            !takeEscape(text, place, result))
            result += text[place++];
    }
    return result;
}

std::string asMarkup(std::string_view text) {
    std::string result;
    for (const char each : text) {
        const auto *const found = std::find_if(entities.begin(), entities.end(),
                                               [each](const auto &entity) { return entity.second == each; });
        result += found == entities.end() ? std::string(1, each) : std::string(found->first);
    }
    return result;
}

std::string asInUrl(std::string_view text) {
    constexpr std::string_view plain = "-._~";
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char each : text) {
        const auto code = static_cast<unsigned char>(each);
        const bool isPlain = (isWord(each) && code < 0x80) || plain.find(each) != std::string_view::npos;
        if (isPlain)
            result += each;
        else
            result.append({'%', digits[code >> 4U], digits[code & 0xfU]});
    }
    return result;
}

// Braces and the like stand there or do not.
std::string_view betweenWords(std::string_view text) {
    while (!text.empty() && !isWord(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && !isWord(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace

std::string inLowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), lowerCase);
    return lower;
}

std::vector<std::string> formsOf(std::string_view value) {
    const std::string text = withoutMarkup(value);
    if (text.find('<') != std::string::npos)
        return {};
    const std::string lower = inLowerCase(decoded(text));
    const std::string_view meant = betweenWords(lower);
    if (meant.empty())
        return {};
    return {std::string(meant), asMarkup(meant), asInUrl(meant), inLowerCase(betweenWords(text))};
}
