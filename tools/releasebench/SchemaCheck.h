// What release.json has to look like.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

// The text of release.schema.json.
extern const char *const releaseSchema;

// What is wrong with one place of a document, in words that say what was expected there.
struct SchemaFault {
    std::string place; // a JSON pointer
    std::string text;
};

std::vector<SchemaFault> schemaFaults(const nlohmann::json &document);
