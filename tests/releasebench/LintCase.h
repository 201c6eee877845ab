// Small mutations of the example release and of its catalogs, each with the rules that it sets off.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

struct LintCase {
    std::string name;
    std::set<std::string> rules;
    std::function<void(nlohmann::json &)> change; // of release.json, whose folder is the current one
    bool isBuiltBefore = false;
    std::function<void()> touch = [] {}; // files of the folder, in the end
};
std::vector<LintCase> releaseCases();

// A mutation of the text of the example's first catalog as it is published.
struct LintCatalogCase {
    std::string name;
    std::set<std::string> rules;
    std::function<std::string(const std::string &)> change;
    std::string fileName = "platform_maccat.xml";
};
std::vector<LintCatalogCase> catalogCases();
