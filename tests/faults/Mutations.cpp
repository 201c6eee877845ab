#include "Mutations.h"

#include <random>
#include <utility>

namespace {

// The text of an element, which stands in the document once or more; the first one counts.
struct Place {
    std::size_t begin;
    std::size_t length;
};

Place textOf(const std::string &document, const std::string &element) {
    const std::size_t begin = document.find(element) + element.size();
    return {begin, document.find('<', begin) - begin};
}

std::string replaced(std::string document, const Place &place, const std::string &text) {
    return document.replace(place.begin, place.length, text);
}

std::string repeated(std::size_t count, const std::string &text) {
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

std::string inUtf16(const std::string &ascii, bool isBigEndian) {
    std::string text = isBigEndian ? "\xfe\xff" : "\xff\xfe";
    for (const char character : ascii)
        text += isBigEndian ? std::string{'\0', character} : std::string{character, '\0'};
    return text;
}

std::string withoutDeclaration(const std::string &document) {
    return document.compare(0, 5, "<?xml") == 0 ? document.substr(document.find("?>") + 2) : document;
}

} // namespace

std::vector<Mutation> cut(const std::string &document) {
    std::vector<Mutation> all;
    for (std::size_t tenth = 0; tenth < 10; ++tenth)
        all.push_back({"cut after " + std::to_string(tenth) + " tenths",
                       document.substr(0, document.size() * tenth / 10)});
    all.push_back({"followed by itself", document + document});
    all.push_back({"followed by a text", document + "\nNot Found\n"});
    return all;
}

std::vector<Mutation> withOtherBytes(const std::string &document, unsigned seeds) {
    std::vector<Mutation> all;
    for (unsigned seed = 0; seed < seeds; ++seed) {
        std::mt19937 random(seed);
        std::string text = document;
        for (unsigned flips = 1 + seed % 3; flips > 0; --flips) {
            char &byte = text.at(random() % text.size());
            byte = static_cast<char>(byte ^ (1 << random() % 8));
        }
        all.push_back({"seed " + std::to_string(seed), text});
    }
    return all;
}

std::vector<Mutation> inOtherEncodings(const std::string &document) {
    const std::string bare = withoutDeclaration(document);
    const auto declared = [&bare](const std::string &encoding) {
        return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>" + bare;
    };
    return {{"byte order mark", "\xef\xbb\xbf" + document},
            {"UTF-16 little endian", inUtf16(bare, false)},
            {"UTF-16 big endian", inUtf16(bare, true)},
            {"declared UTF-16", declared("utf-16")},
            {"declared Latin", declared("iso-8859-1")},
            {"declared EBCDIC", declared("ibm037")},
            {"declared nonsense", declared("none-such")},
            {"version 9", "<?xml version=\"9.9\"?>" + bare},
            {"blank before the declaration", " " + declared("utf-8")},
            {"zero at the start", std::string(1, '\0') + document},
            {"zero at the end", document + std::string(1, '\0')}};
}

std::vector<Mutation> withOtherMarkup(const std::string &document, const std::string &element) {
    const Place place = textOf(document, element);
    const std::string text = document.substr(place.begin, place.length);
    const std::string name = element.substr(1, element.find_first_of(" >") - 1);
    const std::string closing = "</" + name + ">";
    const Place whole = {place.begin - element.size(), element.size() + place.length + closing.size()};
    const std::string markup = document.substr(whole.begin, whole.length);
    const std::string bare = withoutDeclaration(document);
    const auto withType = [&](const std::string &type, const std::string &newText) {
        const std::string withText = replaced(document, place, newText);
        return "<!DOCTYPE " + type + ">" + withoutDeclaration(withText);
    };
    std::string attributes = "<" + name;
    for (int i = 0; i < 100'000; ++i)
        attributes += " a" + std::to_string(i) + "=\"\"";
    const auto inPlace = [&](const std::string &other) { return replaced(document, whole, other); };
    return {
        {"marked section", replaced(document, place, "<![CDATA[" + text + "]]>")},
        {"unknown entity", replaced(document, place, "&none;")},
        {"entity", withType("x [<!ENTITY e '" + text + "'>]", "&e;")},
        {"entity of a file", withType("x [<!ENTITY e SYSTEM 'file:///srv/secret'>]", "&e;")},
        {"entity of a host", withType("x [<!ENTITY e SYSTEM 'https://scripted.brovik.example/e'>]", "&e;")},
        {"type of a file", withType("x SYSTEM 'file:///srv/secret'", text)},
        {"type of a host", withType("x PUBLIC '-//x' 'https://scripted.brovik.example/dtd'", text)},
        {"instruction", replaced(document, place, "<?php echo 1 ?>" + text)},
        {"comment", replaced(document, place, "<!-- " + text + " -->" + text)},
        {"twice", inPlace(markup + markup)},
        {"none", inPlace("")},
        {"empty", inPlace("<" + name + "/>")},
        {"as an attribute", inPlace("<" + name + " value=\"" + text + "\"/>")},
        {"with another name", inPlace("<X" + name + ">" + text + "</X" + name + ">")},
        {"in another namespace", inPlace("<n:" + name + " xmlns:n='urn:x'>" + text + "</n:" + name + ">")},
        {"twenty thousand times", inPlace(repeated(20'000, markup))},
        {"in itself", inPlace("<" + name + ">" + markup + closing)},
        {"nested deeply", inPlace(repeated(100'000, "<a>") + repeated(100'000, "</a>"))},
        {"a hundred thousand attributes", inPlace(attributes + ">" + text + closing)},
        {"of another kind", "<html><body>Sign in</body></html>"},
        {"empty root",
         bare.substr(bare.find('<'), bare.find_first_of(" >", bare.find('<') + 1) - bare.find('<')) + "/>"}};
}

std::vector<Mutation> withOtherTexts(const std::string &document, const std::string &element) {
    const Place place = textOf(document, element);
    const std::string text = document.substr(place.begin, place.length);
    std::vector<Mutation> all;
    const std::vector<Mutation> texts = {{"a megabyte", std::string(1'000'000, 'x')},
                                         {"a megabyte of digits", std::string(1'000'000, '9')},
                                         {"a megabyte of references", repeated(200'000, "&amp;")},
                                         {"negative", "-1.-1.-1.-1"},
                                         {"beyond 32 bits", "4294967297.0.0.0"},
                                         {"beyond 64 bits", "99999999999999999999"},
                                         {"blank", " "},
                                         {"blanks around", "  " + text + " \n"},
                                         {"tabulators and line ends", "\t" + text + "\n\r\n"},
                                         {"control characters", "a&#9;&#10;&#13;&#127;b"},
                                         {"a control character", "a\x01z"},
                                         {"a zero", std::string("a\0z", 3)},
                                         {"formats", "%s%n%999999d%x"},
                                         {"shell", "$(touch /srv/harmed);`touch /srv/harmed`"},
                                         {"quotes", "\" ' &quot; &lt;/x&gt;"},
                                         {"folders", "../../../../srv/harmed"},
                                         {"an absolute path", "/srv/harmed"},
                                         {"other letters", "\xd0\x9f\xf0\x9f\x98\x80\xe2\x80\xae"}};
    all.reserve(texts.size());
    for (const auto &[name, other] : texts)
        all.push_back({name, replaced(document, place, other)});
    return all;
}
