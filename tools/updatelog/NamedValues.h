// The values that a text names as affiliate ids or licences: in documents, requests, URLs and lines of the
// log.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

enum class SecretKind { affiliate, licence };

// Where one stands; what stands there may hold markup.
struct NamedValue {
    std::size_t begin;
    std::size_t end;
    SecretKind kind;
};

// In the order in which they stand; none is empty.
std::vector<NamedValue> namedValuesIn(std::string_view text);
