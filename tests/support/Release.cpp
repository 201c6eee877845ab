#include "Release.h"

#include <cstdint>
#include <filesystem>

#include "Program.h"
#include "TextFile.h"

namespace {

const std::string rehearsal = "/srv/rehearsal";

// Where a host's server finds a URL's file.
std::string servedFrom(const std::string &url) {
    if (url.compare(0, downloadHost.size(), downloadHost) == 0)
        return rehearsal + "/download" + url.substr(downloadHost.size());
    return rehearsal + "/scripted" + url.substr(scriptedHost.size());
}

void writeWithFolders(const std::string &path, const std::string &content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeText(path, content);
}

std::string element(const std::string &name, const std::string &text) {
    return text.empty() ? "" : "        <" + name + ">" + text + "</" + name + ">\n";
}

std::string hotFixMarkup(const HotFix &hotFix) {
    return "      <hf_package>\n" + element("name", hotFix.url.substr(hotFix.url.rfind('/') + 1)) +
           element("url", hotFix.url) + element("hash", hotFix.hash) + element("size", hotFix.size) +
           element("minver", hotFix.minVer) + element("maxver", hotFix.maxVer) +
           element("osx_minver", hotFix.osxMinVer) + element("osx_maxver", hotFix.osxMaxVer) +
           element("product_ver", hotFix.productVer) + element("buildno", hotFix.buildNo) +
           element("repost", hotFix.repost) + "      </hf_package>\n";
}

} // namespace

void publish(const std::string &url, const std::string &content) {
    writeWithFolders(servedFrom(url), content);
}

HotFix publishPackage(const std::string &url, const std::string &content) {
    publish(url, content);
    HotFix hotFix;
    hotFix.url = url;
    hotFix.hash = sha1(content);
    hotFix.size = std::to_string(content.size());
    return hotFix;
}

std::string packed(const std::map<std::string, std::string> &files) {
    const std::string folder = "/tmp/package";
    std::filesystem::remove_all(folder);
    for (const auto &[path, content] : files)
        writeWithFolders(folder + path, content);
    return shell("tar --sort=name --mtime=@0 --owner=0 --group=0 -C " + folder + " -cf - .");
}

std::string someBytes(std::size_t count) {
    std::string bytes;
    std::uint32_t state = 2463534242;
    while (bytes.size() < count) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        bytes.push_back(static_cast<char>(state & 0xff));
    }
    return bytes;
}

std::string sha1(const std::string &content) {
    writeText("/tmp/to-be-hashed", content);
    return shell("sum=$(sha1sum /tmp/to-be-hashed); sum=${sum%% *}; printf %s \"${sum^^}\"");
}

std::string catalogText(const std::vector<HotFix> &hotFixes, const std::string &configuration) {
    std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                       "<product_catalog>\n"
                       "  <configuration>\n" +
                       configuration +
                       "  </configuration>\n"
                       "  <manifest>\n"
                       "  <server_package_information>\n"
                       "    <ProductPackage>\n";
    for (const HotFix &hotFix : hotFixes)
        text += hotFixMarkup(hotFix);
    return text + "    </ProductPackage>\n"
                  "  </server_package_information>\n"
                  "  </manifest>\n"
                  "</product_catalog>\n";
}

void publishCatalog(const std::string &url, const std::vector<HotFix> &hotFixes,
                    const std::string &configuration) {
    publish(url, catalogText(hotFixes, configuration));
}

void answerWith(const std::string &reply) {
    writeText(rehearsal + "/service/reply.xml", reply);
}

void answerFrom(const std::string &releases) {
    writeText(rehearsal + "/service/releases.xml", releases);
}

const std::string plainProduct = "<product appid=\"quaformac\"><catlist><catalog>"
                                 "<caturlroot>https://scripted.brovik.example</caturlroot>"
                                 "<name>core_maccat</name><version>7</version>"
                                 "</catalog></catlist></product>";
const std::string plainReply = "<productresponse status=\"0\"><pkglist><package>"
                               "<products relname=\"basicmac3.4\" relver=\"3.1\">" +
                               plainProduct +
                               "</products><partner relver=\"2.2\"/></package></pkglist></productresponse>";
const std::string plainCatalogUrl = "https://scripted.brovik.example/core_maccat.xml";

void offer(const std::vector<HotFix> &hotFixes) {
    publishCatalog(plainCatalogUrl, hotFixes);
    answerWith(plainReply);
}

void misbehave(const std::string &script) {
    writeText(rehearsal + "/service/script", script);
}
