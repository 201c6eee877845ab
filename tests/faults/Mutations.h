// A document spoilt in every way that this suite knows, the same ways each time.
#pragma once

#include <string>
#include <vector>

struct Mutation {
    std::string name;
    std::string text;
};

// `element` is one of the document's elements, as "<version>", which holds text.
std::vector<Mutation> cut(const std::string &document);
std::vector<Mutation> withOtherBytes(const std::string &document, unsigned seeds);
std::vector<Mutation> inOtherEncodings(const std::string &document);
std::vector<Mutation> withOtherMarkup(const std::string &document, const std::string &element);
std::vector<Mutation> withOtherTexts(const std::string &document, const std::string &element);
