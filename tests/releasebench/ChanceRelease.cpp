#include "ChanceRelease.h"

#include <algorithm>

namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;

// Where the scripted host serves without TLS.
const std::string packageHost = "http://packages.brovik.example";
const std::string catalogHost = "http://catalogs.brovik.example";

const Texts products = {"1.0.0.5", "1.0.0.9", "1.0.1.0", "9.1.0.0", "1.0"};
const Texts systems = {"10.6.8", "10.8.5", "10.10.0", "11.0.0"};
// Texts whose order is not that of their numbers, short ones, negative ones, and ones that a directory's name
// cuts. No two are equal as versions: which one is the first depends on the order in which threads began.
const Texts versions = {"1.0.0.6",  "1.0.0.9", "1.0.0.10", "1.0.1.0",          "9.1.0.0",
                        "10.0.0.0", "2.0.0.0", "1.0_1.0",  "4294967295.0.0.0", "beta"};
const Texts productBounds = {"1.0.0.0", "1.0.0.5", "1.0.0.6", "1.0.0.9",  "1.0.1.0",
                             "9.1.0.0", "1.0",     "1",       "10.0.0.0", "2147483648.0.0.0"};
const Texts systemBounds = {"10.6.0", "10.6.8", "10.8.5", "10.8.9", "10.9", "10.10.0", "11.0.0"};
const Texts builds = {"1", "99", "100", "0130", "131x", "-5", "2147483647"};

class Maker {
public:
    explicit Maker(std::mt19937 &chance)
        : m_chance(chance) {}

    ChanceRelease make() {
        m_made.product = one(products);
        m_made.system = one(systems);
        m_made.affiliate = one({"105", "105", "105-1", happens(10) ? "106" : "105-1"});
        m_made.application = happens(25) ? "quaformac,basicmac3.3" : "quaformac";
        m_version = one(versions);
        const Texts core = catalogs("core", 1 + below(2));
        const Texts other = happens(25) ? catalogs("other", 1) : Texts();
        m_mayNameCores = core.size() + other.size() == 1;
        Texts partner = catalogs("partner", below(2));
        m_mayNameCores = false;
        if (happens(30))
            partner.push_back(catalog("dynamicbranding_maccat"));
        Json audience = {{"affiliates", happens(10) ? Texts{"*"} : Texts{"105"}},
                         {"releaseName", happens(10) ? "" : "basicmac3.4"},
                         {"coreVersion", one({"2", "7.1", ""})},
                         {"partnerVersion", one({"3", ""})},
                         {"products", Json::array({product("quaformac", core)})},
                         {"partners", Json::array({product("quaformac", partner)})}};
        if (!other.empty())
            audience["products"].push_back(product("basicmac3.3", other));
        m_made.release["audience"] = Json::array({audience});
        m_made.release["order"] = order();
        return std::move(m_made);
    }

private:
    unsigned below(unsigned bound) { return static_cast<unsigned>(m_chance() % bound); }
    bool happens(unsigned percent) { return below(100) < percent; }
    const std::string &one(const Texts &texts) { return texts[below(static_cast<unsigned>(texts.size()))]; }
    std::string one(std::initializer_list<const char *> texts) {
        return texts.begin()[below(static_cast<unsigned>(texts.size()))];
    }

    static Json product(const std::string &application, const Texts &catalogs) {
        return {{"application", application}, {"catalogs", catalogs}};
    }

    Texts catalogs(const std::string &name, unsigned count) {
        Texts names;
        for (unsigned i = 0; i < count; ++i)
            names.push_back(catalog(name + std::to_string(i)));
        return names;
    }

    std::string catalog(const std::string &name) {
        Json hotFixes = Json::array();
        for (unsigned i = 0, count = below(6); i < count; ++i)
            hotFixes.push_back(hotFix());
        Json catalog = {{"name", name},
                        {"root", catalogHost + "/c"},
                        {"version", "1"},
                        {"productVersion", happens(1) ? "1;0" : one(versions)},
                        {"mainBuild", happens(5) ? "none" : one(builds)},
                        {"brandingBuild", one({"4", "5", ""})},
                        {"hotFixes", hotFixes}};
        if (!happens(4))
            catalog["fullInstall"] = fullInstall(name);
        m_made.release["catalogs"].push_back(catalog);
        return name;
    }

    Json package(const std::string &path) {
        const std::string file = "packages/" + path;
        m_made.files[file] = "package " + path;
        return {{"file", file}, {"url", packageHost + "/p/" + path}};
    }

    // Names that stand in another product's URL take its place or its hash. Only those of the one core
    // product do, since others would find it or not by the order in which threads began.
    Json fullInstall(const std::string &catalog) {
        if (!m_mayNameCores || m_made.release["catalogs"][0].count("fullInstall") == 0 || happens(60)) {
            Json own = package(catalog + (happens(2) ? ".zip" : ".pkg"));
            if (happens(2))
                own["name"] = "another";
            return own;
        }
        const Json core = m_made.release["catalogs"][0]["fullInstall"];
        if (happens(40))
            return core;
        if (happens(50))
            return package("partner/" + core["url"].get<std::string>().substr(packageHost.size() + 3));
        Json part = package(catalog + "-core.pkg");
        part["name"] = "core";
        return part;
    }

    // Each has a file name of its own, so that no two downloads meet in one file.
    std::string fileName() {
        const std::string number = std::to_string(m_names.size());
        std::string name = one({"platform", "Services", "antivirus", "repost", "HF_x"}) + number;
        if (happens(1))
            name += happens(50) ? "$x" : " x";
        name += happens(1) ? ".zip" : ".pkg";
        if (happens(5))
            name = number + "DynamicBranding.pkg";
        m_names.push_back(name);
        return name;
    }

    Json hotFix() {
        Json fix = package(fileName());
        fix["repost"] = happens(25);
        // Mostly of one version, in which packages without an order name are moved by the sort alone.
        if (!happens(5))
            fix["version"] = happens(80) ? m_version : one(versions);
        if (!happens(1))
            fix["build"] = happens(1) ? "none" : one(builds);
        bound(fix, "minVersion", productBounds);
        bound(fix, "maxVersion", productBounds);
        bound(fix, "minSystem", systemBounds);
        bound(fix, "maxSystem", systemBounds);
        return fix;
    }

    void bound(Json &fix, const char *key, const Texts &bounds) {
        if (happens(15))
            fix[key] = one(bounds);
    }

    Texts order() {
        Texts names;
        const unsigned share = 20 * below(4);
        for (const std::string &name : m_names) {
            if (happens(share))
                names.push_back(name);
        }
        if (happens(30))
            names.emplace_back("SERVICES");
        if (happens(20))
            names.emplace_back("repost");
        std::shuffle(names.begin(), names.end(), m_chance);
        return names;
    }

    std::mt19937 &m_chance;
    ChanceRelease m_made;
    std::string m_version; // of most hot-fixes
    Texts m_names;         // of hot-fixes' files
    bool m_mayNameCores = false;
};

} // namespace

ChanceRelease chanceRelease(std::mt19937 &chance) {
    return Maker(chance).make();
}
