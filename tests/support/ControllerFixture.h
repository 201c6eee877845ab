// The one controller with a server to load from, what the update service answers, and the trace.
#pragma once

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Background.h"
#include "Bytes.h"
#include "DownloadController.h"
#include "LocalServer.h"
#include "Trace.h"
#include "TraceFile.h"
#include "downloadManager.h"

using Messages = std::vector<std::string>;

// One package of a catalog. The text that the catalog form does not know is left out.
struct Offered {
    std::string name;
    std::string url;
    std::string hash;
    std::string version;
    std::string buildNo = "100";
    std::string repost = {};
    std::string maxVer = {}; // a hot-fix's
};

// A catalog with one full package.
inline std::string productCatalog(const Offered &package) {
    return "<product_catalog><configuration><version>" + package.version + "</version><mainbuildno>" +
           package.buildNo +
           "</mainbuildno></configuration><manifest><server_package_information>"
           "<fullinstall_package_list><server_package name=\"" +
           package.name + "\" url=\"" + package.url + "\" hash=\"" + package.hash +
           "\"/></fullinstall_package_list></server_package_information></manifest></product_catalog>";
}

// A catalog with hot-fixes, which apply to every version up to their maximum.
inline std::string hotFixCatalog(const std::vector<Offered> &packages) {
    std::string text = "<product_catalog><manifest><server_package_information><ProductPackage>";
    for (const Offered &package : packages)
        text += "<hf_package><name>" + package.name + "</name><url>" + package.url + "</url><hash>" +
                package.hash + "</hash><maxver>" + package.maxVer + "</maxver><product_ver>" +
                package.version + "</product_ver><buildno>" + package.buildNo + "</buildno><repost>" +
                package.repost + "</repost></hf_package>";
    return text + "</ProductPackage></server_package_information></manifest></product_catalog>";
}

inline std::string catalogList(const std::string &root, const std::vector<std::string> &names) {
    std::string text = "<catlist>";
    for (const std::string &name : names)
        text.append("<catalog><caturlroot>")
            .append(root)
            .append("</caturlroot><name>")
            .append(name)
            .append("</name><version>1</version></catalog>");
    return text + "</catlist>";
}

// The service's reply that names these catalogs, all below one root.
inline std::string replyNaming(const std::string &root, const std::vector<std::string> &core,
                               const std::vector<std::string> &partner = {}) {
    return "<productresponse status=\"0\"><pkglist><package>"
           "<products relname=\"basicmac3.4\" relver=\"3.1\"><product appid=\"quaformac\">" +
           catalogList(root, core) +
           "</product></products><partner relver=\"2.2\"><product appid=\"quaformac\">" +
           catalogList(root, partner) + "</product></partner></package></pkglist></productresponse>";
}

// The update service answers every request with these bytes. Needs the machine's servers.
inline void serviceAnswers(const std::string &reply) {
    writeText("/srv/rehearsal/service/reply.xml", reply);
}

class ControllerFixture : public testing::Test {
protected:
    ControllerFixture() {
        std::filesystem::create_directories(folder);
        m_traced = traceText().size();
        // The parser's own lines are another suite's matter.
        catalogparserflagvalue = 0;
    }
    void TearDown() override {
        DownloadController::releaseInstance();
        catalogparserflagvalue = 5;
        std::filesystem::remove_all(folder);
    }

    // What was traced since the test began or the last call of forget; the server as <server>, the folder
    // as <folder>.
    Messages messages() const {
        Messages found = messagesOf(traceText().substr(m_traced));
        for (std::string &message : found)
            message = replaceAll(replaceAll(message, server.url(""), "<server>"), folder, "<folder>");
        return found;
    }
    void forget() { m_traced = traceText().size(); }
    std::ptrdiff_t timesTraced(const std::string &line) const {
        const Messages found = messages();
        return std::count(found.begin(), found.end(), line);
    }

    // Packages as products in core catalogs, or as hot-fixes in one core catalog. Needs the machine's
    // servers.
    void offerProducts(const std::vector<Offered> &packages) {
        std::vector<std::string> names;
        for (const Offered &package : packages) {
            names.push_back("core" + std::to_string(names.size()));
            server.serve("/" + names.back() + ".xml", productCatalog(package));
        }
        serviceAnswers(replyNaming(server.url(""), names));
    }
    void offerHotFixes(const std::vector<Offered> &packages) {
        server.serve("/core.xml", hotFixCatalog(packages));
        serviceAnswers(replyNaming(server.url(""), {"core"}));
    }
    // A package of the server, with its hash.
    Offered package(const std::string &name, const std::string &version, const std::string &content,
                    std::vector<Answer> answers = {}) {
        server.serve("/" + name, content, std::move(answers));
        return {name, server.url("/" + name), sha1Of(content), version};
    }
    // One download on the test's own thread, with its destination below the folder.
    int load(const std::string &path) {
        return controller.downLoadThreadEntry(server.url(path).c_str(), (folder + path).c_str());
    }
    void freshInstallInBackground() {
        background.run([this] { static_cast<void>(controller.freshInstall()); });
    }

    const std::string folder = "/tmp/downloads";
    DownloadController &controller = *DownloadController::getInstance();
    Background background;
    LocalServer server;

private:
    static std::string replaceAll(std::string text, const std::string &part, const std::string &by) {
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
            text.replace(at, part.size(), by);
        return text;
    }

    std::size_t m_traced = 0;
};
