#include "ProductConfiguration.h"

#include <cstddef>
#include <optional>

#include "LibXmlWrapper.h"
#include "Trace.h"

int ProductConfiguration::updateElement(const std::string &path, const std::string &element,
                                        const std::string &value) {
    if (element.empty() || value.empty()) {
        trace.error(
            "ERROR : Either Element or It's Value is NULL - No need to Update in ProductConfig.xml \n");
        return -1;
    }
    trace.info("INFO: Updating Productconfig.xml with %s element and its value %s .\n", element.c_str(),
               value.c_str());
    LibXmlWrapper configuration(path);
    const std::string xpath = "/ProductConfiguration/" + element;
    const std::optional<std::size_t> count = configuration.countNodes(xpath);
    int result = 0;
    if (count == 1U) {
        result = LibXmlWrapper::UpdateNodeWithValue(path.c_str(), xpath.c_str(), value.c_str());
        if (result != 0)
            trace.error("ERROR: Update Productconfig.xml with %s element and its value %s Failed !\n",
                        element.c_str(), value.c_str());
    } else if (count) {
        // Two of them become three (kept), and a save that fails is not reported.
        static_cast<void>(configuration.AddNewNode(element, value));
    }
    // Said after a failure too (kept as shipped).
    trace.info("INFO: Updated Productconfig.xml with %s element and its value %s .\n", element.c_str(),
               value.c_str());
    return result;
}
