#include "ProductUrls.h"

#include <algorithm>

#include "Text.h"

std::list<std::string> productUrls(const std::vector<ProductInfo> &products) {
    std::list<std::string> urls;
    for (const ProductInfo &product : products) {
        const auto replaced = std::find_if(urls.begin(), urls.end(), [&product](const std::string &url) {
            return product.isPartner && contains(url, product.name);
        });
        if (replaced != urls.end())
            urls.remove(std::string(*replaced)); // all that are equal to it
        urls.push_back(product.url);
    }
    return urls;
}
