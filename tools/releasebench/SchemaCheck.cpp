#include "SchemaCheck.h"

#include <nlohmann/json.hpp>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

namespace {

using Json = nlohmann::json;
using Context = std::vector<std::string>; // "<root>", "[catalogs]", "[0]"

std::string stepOf(const std::string &entry) {
    return entry.substr(1, entry.size() - 2);
}

std::string pointerOf(const Context &context) {
    std::string pointer;
    for (std::size_t i = 1; i < context.size(); ++i)
        pointer += "/" + stepOf(context[i]);
    return pointer;
}

const Json &resolved(const Json &schema, const Json &root) {
    const auto reference = schema.find("$ref");
    if (reference == schema.end())
        return schema;
    return root.at(Json::json_pointer(reference->get<std::string>().substr(1)));
}

// The part of the schema that speaks of a place which it knows.
const Json &schemaOf(const Context &context, const Json &root) {
    const Json *schema = &root;
    for (std::size_t i = 1; i < context.size(); ++i) {
        const auto items = schema->find("items");
        const Json &inner = items != schema->end() ? *items : schema->at("properties").at(stepOf(context[i]));
        schema = &resolved(inner, root);
    }
    return *schema;
}

std::string typeInWords(const Json &schema) {
    const std::string type = schema.at("type");
    if (type == "boolean")
        return "true or false";
    const std::string article = type == "array" || type == "object" ? "an " : "a ";
    const std::string least =
        schema.contains("minItems") || schema.contains("minLength") ? " that is not empty" : "";
    return article + type + least;
}

std::string expectation(const Json &schema) {
    return "expected " + typeInWords(schema) + ": " + schema.at("description").get<std::string>();
}

std::string knownKeys(const Json &schema) {
    std::string names;
    for (const auto &property : schema.at("properties").items())
        names += (names.empty() ? "" : ", ") + property.key();
    return names;
}

bool beginsWith(const std::string &text, const std::string &start) {
    return text.compare(0, start.size(), start) == 0;
}

// The library names the keys of an object that it means in its sentence alone.
std::string quotedName(const std::string &sentence) {
    const std::size_t begin =
        sentence.find('\'', sentence.find(beginsWith(sentence, "Object") ? ": '" : "'")) + 1;
    return sentence.substr(begin, sentence.rfind('\'') - begin);
}

SchemaFault inWords(const Context &context, const std::string &sentence, const Json &root) {
    const Json &schema = schemaOf(context, root);
    const std::string place = pointerOf(context);
    if (beginsWith(sentence, "Missing required property")) {
        const std::string key = quotedName(sentence);
        return {place,
                "lacks \"" + key + "\", " + expectation(resolved(schema.at("properties").at(key), root))};
    }
    if (beginsWith(sentence, "Object contains a property"))
        return {place + "/" + quotedName(sentence), "unknown key, expected one of: " + knownKeys(schema)};
    return {place, expectation(schema)};
}

} // namespace

std::vector<SchemaFault> schemaFaults(const Json &document) {
    const Json root = Json::parse(releaseSchema);
    valijson::Schema schema;
    valijson::SchemaParser().populateSchema(valijson::adapters::NlohmannJsonAdapter(root), schema);
    valijson::ValidationResults results;
    valijson::Validator validator;
    validator.validate(schema, valijson::adapters::NlohmannJsonAdapter(document), &results);
    std::vector<SchemaFault> faults;
    for (valijson::ValidationResults::Error error; results.popError(error);) {
        // What is around a fault is at fault as well.
        if (!beginsWith(error.description, "Failed to validate"))
            faults.push_back(inWords(error.context, error.description, root));
    }
    return faults;
}
