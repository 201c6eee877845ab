#include "BundleMask.h"

#include <algorithm>
#include <optional>

#include "Characters.h"
#include "ValueForms.h"

namespace {

// A longer value is masked behind its name only, and so is one beyond that many.
constexpr std::size_t longestKnown = 200;
constexpr std::size_t mostKnown = 100000;

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

// Whether another word or number begins there, with a character of it.
bool isBorder(std::string_view text, std::size_t place) {
    if (place == 0 || place == text.size())
        return true;
    const char before = text[place - 1];
    const char behind = text[place];
    return !(isDigit(before) && isDigit(behind)) && !(isLetter(before) && isLetter(behind));
}

// Documents stay what they are, whatever words are secrets.
bool isElementsName(std::string_view text, std::size_t begin) {
    if (begin > 0 && text[begin - 1] == '/')
        --begin;
    return begin > 0 && text[begin - 1] == '<';
}

// What stands there instead of a value already.
bool isMask(std::string_view value) {
    for (const std::string *const mask : {&BundleMask::affiliate, &BundleMask::licence}) {
        if (value.substr(0, mask->size()) == *mask) {
            const std::string_view number = value.substr(mask->size());
            return number.empty() || (number.front() == '_' && number.size() > 1 &&
                                      std::all_of(number.begin() + 1, number.end(), isDigit));
        }
    }
    return false;
}

} // namespace

const std::string BundleMask::affiliate = "masked_affiliate";
const std::string BundleMask::licence = "masked_licence";

void BundleMask::learn(const std::string &text) {
    for (const NamedValue &named : namedValuesIn(text)) {
        const std::string_view value = std::string_view(text).substr(named.begin, named.end - named.begin);
        if (!isMask(value) && value.size() <= longestKnown && m_known.size() < mostKnown)
            learnValue(value, named.kind);
    }
}

void BundleMask::learnValue(std::string_view value, SecretKind kind) {
    const std::vector<std::string> forms = formsOf(value);
    if (forms.empty() || m_known.count(forms.front()) != 0)
        return;
    std::size_t &count = kind == SecretKind::affiliate ? m_affiliates : m_licences;
    ++count;
    const std::string mask = plainMask(kind) + (count > 1 ? "_" + std::to_string(count) : "");
    for (const std::string &form : forms) {
        m_known.emplace(form, Known{kind, mask});
        m_lengths.insert(form.size());
    }
}

std::string BundleMask::masked(const std::string &text, MaskCount &count) const {
    std::string result;
    std::size_t behind = 0;
    for (const NamedValue &named : namedValuesIn(text)) {
        result.append(withoutKnown(text.substr(behind, named.begin - behind), count));
        const std::string value = text.substr(named.begin, named.end - named.begin);
        if (isMask(value))
            result.append(value);
        else
            append(result, maskOf(value, named.kind), count);
        behind = named.end;
    }
    return result.append(withoutKnown(text.substr(behind), count));
}

BundleMask::Known BundleMask::maskOf(std::string_view value, SecretKind kind) const {
    const std::vector<std::string> forms = formsOf(value);
    const auto known = forms.empty() ? m_known.end() : m_known.find(forms.front());
    return known == m_known.end() ? Known{kind, plainMask(kind)} : known->second;
}

std::string BundleMask::withoutKnown(const std::string &text, MaskCount &count) const {
    if (m_known.empty())
        return text;
    const std::string plain = inLowerCase(text);
    std::string result;
    std::size_t place = 0;
    while (place < text.size()) {
        const bool mayBegin = isWord(text[place]) && isBorder(text, place) && !isElementsName(text, place);
        const Known *known = nullptr;
        const std::size_t length = mayBegin ? knownAt(plain, place, known) : 0;
        if (length == 0) {
            result += text[place];
            ++place;
            continue;
        }
        append(result, *known, count);
        place += length;
    }
    return result;
}

std::size_t BundleMask::knownAt(std::string_view text, std::size_t begin, const Known *&known) const {
    for (const std::size_t length : m_lengths) {
        const std::size_t end = begin + length;
        if (end > text.size() || !isBorder(text, end))
            continue;
        const std::string value(text.substr(begin, length));
        const auto found = m_known.find(value);
        if (found == m_known.end() || (isLikeNumber(value) && !isSegment(text, begin, end)))
            continue;
        known = &found->second;
        return length;
    }
    return 0;
}

const std::string &BundleMask::plainMask(SecretKind kind) {
    return kind == SecretKind::affiliate ? affiliate : licence;
}

void BundleMask::append(std::string &text, const Known &known, MaskCount &count) {
    text += known.mask;
    ++(known.kind == SecretKind::affiliate ? count.affiliates : count.licences);
}
