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

const Json &valueOf(const Context &context, const Json &document) {
    const Json *value = &document;
    for (std::size_t i = 1; i < context.size(); ++i) {
        const std::string step = stepOf(context[i]);
        value = value->is_array() ? &value->at(std::stoul(step)) : &value->at(step);
    }
    return *value;
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

// The library names the key that an object lacks in its sentence alone.
std::string quotedName(const std::string &sentence) {
    const std::size_t begin = sentence.find('\'') + 1;
    return sentence.substr(begin, sentence.rfind('\'') - begin);
}

// All of an object's, of which the library names one.
std::vector<SchemaFault> unknownKeys(const std::string &place, const Json &object, const Json &schema) {
    std::vector<SchemaFault> faults;
    for (const auto &member : object.items()) {
        if (!schema.at("properties").contains(member.key()))
            faults.push_back(
                {place + "/" + member.key(), "unknown key, expected one of: " + knownKeys(schema)});
    }
    return faults;
}

std::vector<SchemaFault> inWords(const Context &context, const std::string &sentence, const Json &document,
                                 const Json &root) {
    const Json &schema = schemaOf(context, root);
    const std::string place = pointerOf(context);
    if (beginsWith(sentence, "Missing required property")) {
        const std::string key = quotedName(sentence);
        return {{place,
                 "lacks \"" + key + "\", " + expectation(resolved(schema.at("properties").at(key), root))}};
    }
    if (beginsWith(sentence, "Object contains a property"))
        return unknownKeys(place, valueOf(context, document), schema);
    return {{place, expectation(schema)}};
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
        if (beginsWith(error.description, "Failed to validate"))
            continue;
        for (SchemaFault &fault : inWords(error.context, error.description, document, root))
            faults.push_back(std::move(fault));
    }
    return faults;
}
