#include "Products.h"

#include "Release.h"

namespace {

// Without the package's ending: the engine would take the catalog for a package.
std::string catalogName(const Product &product) {
    return product.name.substr(0, product.name.rfind('.')) + "_maccat";
}

void publishProduct(const Product &product) {
    const std::string url = scriptedHost + "/" + product.name;
    publish(url, product.content);
    publish(
        downloadHost + "/catalogs/" + catalogName(product) + ".xml",
        "<product_catalog><configuration><version>" + product.version + "</version><mainbuildno>" +
            product.buildNo +
            "</mainbuildno></configuration><manifest><server_package_information><fullinstall_package_list>"
            "<server_package name=\"" +
            product.nameInCatalog + "\" url=\"" + url + "\" hash=\"" + sha1(product.content) +
            "\"/></fullinstall_package_list></server_package_information></manifest></product_catalog>");
}

} // namespace

void publishRelease(const std::vector<Product> &products) {
    std::string catalogs;
    for (const Product &product : products) {
        publishProduct(product);
        catalogs += "<catalog root=\"" + downloadHost + "/catalogs\" name=\"" + catalogName(product) +
                    "\" version=\"1\"/>";
    }
    answerFrom("<releases><release affid=\"*\" relname=\"basicmac4.0\" relver=\"4\" partnerrelver=\"3\">"
               "<product appid=\"quaformac\">" +
               catalogs + "</product></release></releases>");
}

std::string pathOf(const Product &product) {
    return "/usr/local/Brovik/TempDownload/Package/" + product.version + "/" + product.name;
}
