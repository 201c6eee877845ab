// Full-install packages as the maker publishes them: one catalog each, all of them one release.
#pragma once

#include <string>
#include <vector>

struct Product {
    std::string name; // of the package's file
    std::string content;
    std::string version = "2.0.0.0";
    std::string buildNo = "210";
    std::string nameInCatalog = name;
};

// On the scripted host, at "/<name>".
void publishRelease(const std::vector<Product> &products);

// Where the engine puts it.
std::string pathOf(const Product &product);
