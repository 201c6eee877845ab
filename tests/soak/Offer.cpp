#include "Offer.h"

#include "Release.h"

namespace {

const std::string updateVersion = "1.0.1.0";
const std::string installedVersion = "2.0.0.0";
const std::string closedPort = scriptedHost + ":1";

// The second one of each is the one with the fault.
const std::vector<std::string> updateNames = {"One.pkg", "Two.pkg", "Three.pkg"};
const std::vector<std::string> installationNames = {"First.pkg", "Second.pkg", "Third.pkg"};

std::string contentOf(std::size_t index) {
    return someBytes(50000 * (index + 1));
}

std::string pathOf(const std::string &name, const std::string &version) {
    return "/usr/local/Brovik/TempDownload/Package/" + version + "/" + name;
}

std::string catalogElement(const std::string &name) {
    return "<catalog><caturlroot>" + scriptedHost + "</caturlroot><name>" + name +
           "</name><version>1</version></catalog>";
}

std::string replyWith(const std::vector<std::string> &catalogs) {
    std::string elements;
    for (const std::string &name : catalogs)
        elements += catalogElement(name);
    return "<productresponse status=\"0\"><pkglist><package><products relname=\"basicmac3.4\" relver=\"3.1\">"
           "<product appid=\"quaformac\"><catlist>" +
           elements +
           "</catlist></product></products><partner relver=\"2.2\"/></package></pkglist></productresponse>";
}

void publishHotFixes(const std::string &catalog, const std::vector<HotFix> &hotFixes) {
    publishCatalog(scriptedHost + "/" + catalog + ".xml", hotFixes);
}

void publishProduct(const std::string &catalog, const std::string &host, const std::string &name,
                    const std::string &hash) {
    publish(scriptedHost + "/" + catalog + ".xml",
            "<product_catalog><configuration><version>" + installedVersion +
                "</version><mainbuildno>210</mainbuildno></configuration><manifest>"
                "<server_package_information><fullinstall_package_list><server_package name=\"" +
                name + "\" url=\"" + host + "/" + name + "\" hash=\"" + hash +
                "\"/></fullinstall_package_list></server_package_information></manifest></product_catalog>");
}

void haveFault(Fault fault, const std::string &package) {
    const std::string every = "/" + package + " * ";
    switch (fault) {
    case Fault::none:
    case Fault::refused:
        return misbehave("");
    case Fault::cut:
        return misbehave(every + "cut 40000\n");
    case Fault::wrongBytes:
        return misbehave(every + "wrong 70\n");
    case Fault::errorPage:
        return misbehave(every + "status 503 busy\n");
    case Fault::serviceDown:
        return misbehave("/velbrin/1.0.0.0/?reqtype=mac_update * drop\n"
                         "/velbrin/1.0.0.0/?reqtype=mac_web * drop\n");
    }
}

} // namespace

const char *nameOf(Fault fault) {
    switch (fault) {
    case Fault::none:
        return "without a fault";
    case Fault::cut:
        return "with a cut connection";
    case Fault::wrongBytes:
        return "with wrong bytes";
    case Fault::errorPage:
        return "with an error page";
    case Fault::refused:
        return "with a refused connection";
    case Fault::serviceDown:
        return "without the service";
    }
    return "";
}

Offer::Offer()
    : m_updateReply(replyWith({"core_maccat"}))
    , m_updateRefusedReply(replyWith({"refused_maccat"}))
    , m_installationReply(replyWith({"First_maccat", "Second_maccat", "Third_maccat"}))
    , m_installationRefusedReply(replyWith({"First_maccat", "Refused_maccat", "Third_maccat"})) {
    std::vector<HotFix> hotFixes;
    for (std::size_t i = 0; i < updateNames.size(); ++i) {
        hotFixes.push_back(publishPackage(scriptedHost + "/" + updateNames[i], contentOf(i)));
        m_updatePackages[pathOf(updateNames[i], updateVersion)] = contentOf(i);
    }
    publishHotFixes("core_maccat", hotFixes);
    hotFixes[1].url = closedPort + "/" + updateNames[1];
    publishHotFixes("refused_maccat", hotFixes);

    for (std::size_t i = 0; i < installationNames.size(); ++i) {
        const std::string &name = installationNames[i];
        const std::string hash = publishPackage(scriptedHost + "/" + name, contentOf(i)).hash;
        // Without the package's ending: the engine would take the catalog for a package.
        publishProduct(name.substr(0, name.rfind('.')) + "_maccat", scriptedHost, name, hash);
        m_installationPackages[pathOf(name, installedVersion)] = contentOf(i);
    }
    publishProduct("Refused_maccat", closedPort, installationNames[1], "");
}

void Offer::update(Fault fault) const {
    answerWith(fault == Fault::refused ? m_updateRefusedReply : m_updateReply);
    haveFault(fault, updateNames[1]);
}

void Offer::installation(Fault fault) const {
    answerWith(fault == Fault::refused ? m_installationRefusedReply : m_installationReply);
    haveFault(fault, installationNames[1]);
}
