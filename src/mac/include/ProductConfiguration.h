#pragma once

#include <string>

// The product configuration, an XML document whose root's children are the settings.
class ProductConfiguration {
public:
    // Sets one element of a configuration file, or appends it when it is not there exactly once. The file is
    // replaced at once: nobody sees a half, and a failure leaves it as it was. 0, also when it could not be
    // written (kept as shipped); -1 when the element or the value is empty or the rewrite failed.
    static int updateElement(const std::string &path, const std::string &element, const std::string &value);
};
