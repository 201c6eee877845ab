// Well-formed markup of an input's making, for the targets that know what a document says.
#pragma once

#include <optional>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

// Of characters that no parser changes: those of a single line.
inline std::string lineOf(FuzzedDataProvider &input) {
    static constexpr const char *texts[] = {"",    "quaformac", "quiformac", "basicmac3.3",
                                            "YES", "1.0.0.5",   "a&b<c>\"d'"};
    if (input.ConsumeBool())
        return input.PickValueInArray(texts);
    std::string line;
    for (const char character : input.ConsumeRandomLengthString(12))
        line += character >= 0x20 && character < 0x7f ? std::string(1, character) : "\u00e9";
    return line;
}

inline std::optional<std::string> maybeLine(FuzzedDataProvider &input) {
    return input.ConsumeIntegralInRange(0, 3) > 0 ? std::optional(lineOf(input)) : std::nullopt;
}

inline std::string escaped(const std::string &text) {
    std::string markup;
    for (const char character : text) {
        switch (character) {
        case '&':
            markup += "&amp;";
            break;
        case '<':
            markup += "&lt;";
            break;
        case '>':
            markup += "&#62;";
            break;
        case '"':
            markup += "&quot;";
            break;
        default:
            markup += character;
        }
    }
    return markup;
}

inline std::string attribute(const char *name, const std::optional<std::string> &value) {
    return value ? std::string(" ") + name + "=\"" + escaped(*value) + "\"" : "";
}

inline std::string element(const std::string &name, const std::string &attributes,
                           const std::string &content) {
    if (content.empty())
        return "<" + name + attributes + "/>";
    return "<" + name + attributes + ">" + content + "</" + name + ">";
}

// An element of one text; none for none. The text may come in several pieces, and the element again with
// another text, which does not count.
inline std::string child(FuzzedDataProvider &input, const char *name,
                         const std::optional<std::string> &text) {
    if (!text)
        return "";
    std::size_t cut = input.ConsumeIntegralInRange<std::size_t>(0, text->size());
    while (cut > 0 && cut < text->size() && (static_cast<unsigned char>((*text)[cut]) & 0xc0U) == 0x80)
        --cut; // not within a character
    const bool isMarked = input.ConsumeBool() && text->find("]]>") == std::string::npos;
    const std::string rest = text->substr(cut);
    const std::string content =
        escaped(text->substr(0, cut)) + (isMarked ? "<![CDATA[" + rest + "]]>" : escaped(rest));
    return element(name, "", content) + (input.ConsumeBool() ? element(name, "", "another") : "");
}
