#include "Inputs.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace {

std::string padded(std::size_t number, std::size_t length) {
    const std::string digits = std::to_string(number);
    return std::string(length - std::min(length, digits.size()), '0') + digits;
}

std::string element(const char *name, const std::string &text) {
    return std::string("        <") + name + ">" + text + "</" + name + ">\n";
}

} // namespace

const char *nameOf(Arrangement arrangement) {
    constexpr std::array<const char *, 5> names = {"random", "sorted", "reversed", "equal", "organ pipe"};
    return names[static_cast<std::size_t>(arrangement)];
}

std::vector<std::size_t> numbers(Arrangement arrangement, std::size_t count) {
    std::vector<std::size_t> sequence(count, 0);
    if (arrangement != Arrangement::equal)
        std::iota(sequence.begin(), sequence.end(), 0U);
    if (arrangement == Arrangement::reversed)
        std::reverse(sequence.begin(), sequence.end());
    if (arrangement == Arrangement::organPipe) {
        for (std::size_t i = 0; i < count; ++i)
            sequence[i] = 2 * i < count ? 2 * i : 2 * (count - i) - 1;
    }
    std::mt19937 random; // its seed and its numbers are the standard's; those of std::shuffle are not
    for (std::size_t i = count; arrangement == Arrangement::random && i > 1; --i)
        std::swap(sequence[i - 1], sequence[random() % i]);
    return sequence;
}

std::string versionOf(std::size_t number) {
    const std::size_t release = number / 10;
    return "12." + std::to_string(10 + release / 900) + "." + std::to_string(100 + release % 900) + ".0";
}

std::string packageName(std::size_t number) {
    return "suite-component-" + padded(number, 6) + ".pkg";
}

HotFixPackageInfo hotFix(std::size_t number) {
    HotFixPackageInfo info;
    info.name = packageName(number);
    info.url = "https://packages.brovik.example/updates/mac/HF_" + versionOf(number) + "/" + info.name;
    info.hash = padded(number * 2654435761U, 40);
    info.size = std::to_string(200'000 + number);
    info.minVer = "12.10.100.0";
    info.maxVer = versionOf(number);
    info.osxMinVer = "10.6.0";
    info.osxMaxVer = "10.9.5";
    info.productVer = versionOf(number);
    info.buildNo = std::to_string(1000 + number);
    info.repost = number % 16 == 0;
    return info;
}

ProductInfo product(std::size_t number) {
    const HotFixPackageInfo info = hotFix(number);
    return {info.url, info.name, true, info.hash, info.productVer, info.buildNo};
}

std::string packagePath(std::size_t number) {
    const HotFixPackageInfo info = hotFix(number);
    return std::string("/usr/local/Brovik/TempDownload/Package/") + (info.repost ? "repost/" : "") +
           info.productVer + "/" + info.name;
}

std::string catalogOf(std::size_t packages) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<product_catalog>\n"
        "  <configuration>\n    <version>12.10.100.0</version>\n"
        "    <mainbuildno>1000</mainbuildno>\n  </configuration>\n"
        "  <manifest>\n    <server_package_information>\n      <fullinstall_package_list>\n"
        "        <server_package name=\"suite.pkg\" url=\"https://packages.brovik.example/suite.pkg\""
        " hash=\"0123456789ABCDEF0123456789ABCDEF01234567\"/>\n"
        "      </fullinstall_package_list>\n      <ProductPackage>\n";
    for (std::size_t number = 0; number < packages; ++number) {
        const HotFixPackageInfo info = hotFix(number);
        text += "      <hf_package>\n";
        text += element("name", info.name) + element("url", info.url) + element("hash", info.hash) +
                element("size", info.size) + element("minver", info.minVer) + element("maxver", info.maxVer) +
                element("osx_minver", info.osxMinVer) + element("osx_maxver", info.osxMaxVer) +
                element("product_ver", info.productVer) + element("buildno", info.buildNo) +
                element("repost", info.repost ? "YES" : "NO");
        text += "      </hf_package>\n";
    }
    return text + "      </ProductPackage>\n    </server_package_information>\n  </manifest>\n"
                  "</product_catalog>\n";
}

std::string replyOf(std::size_t catalogs) {
    std::string list = "<catlist>\n";
    for (std::size_t number = 0; number < catalogs; ++number)
        list += "<catalog>\n" + element("caturlroot", "https://packages.brovik.example/catalogs") +
                element("name", "catalog-" + padded(number, 6)) + element("version", versionOf(number)) +
                "</catalog>\n";
    list += "</catlist>";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<productresponse status=\"0\">\n<pkglist><package>\n"
           "<products relname=\"quaformac\" relver=\"12.10.100.0\">\n<product appid=\"quaformac\">" +
           list + "</product>\n</products>\n<partner relver=\"12.10.100.0\">\n<product appid=\"quaformac\">" +
           list + "</product>\n</partner>\n</package></pkglist>\n</productresponse>\n";
}
