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
// cuts.
const Texts versions = {"1.0.0.6", "1.0.0.9", "1.0.0.10", "1.0.1.0", "9.1.0.0",          "10.0.0.0",
                        "1.0.1",   "1.0.1.0", "2.0.0.0",  "1.0_1.0", "4294967295.0.0.0", "beta"};
const Texts productBounds = {"1.0.0.0", "1.0.0.5", "1.0.0.6", "1.0.0.9",  "1.0.1.0",
                             "9.1.0.0", "1.0",     "1",       "10.0.0.0", "2147483648.0.0.0"};
const Texts systemBounds = {"10.6.0", "10.6.8", "10.8.5", "10.8.9", "10.9", "10.10.0", "11.0.0"};
const Texts builds = {"1", "99", "100", "0130", "130", "131x", "-5", "2147483647"};

class Maker {
public:
    explicit Maker(std::mt19937 &chance)
        : m_chance(chance) {}

    ChanceRelease make() {
        m_made.product = one(products);
        m_made.system = one(systems);
        m_made.affiliate = happens(5) ? "106" : "105-1";
        m_made.application = happens(25) ? "quaformac,basicmac3.3" : "quaformac";
        const Texts core = catalogs("core", 1 + below(2));
        const Texts other = happens(25) ? catalogs("other", 1) : Texts();
        Texts partner = catalogs("partner", below(2));
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
        for (unsigned i = 0, count = below(5); i < count; ++i)
            hotFixes.push_back(hotFix());
        m_made.release["catalogs"].push_back({{"name", name},
                                              {"root", catalogHost + "/c"},
                                              {"version", "1"},
                                              {"brandingBuild", one({"4", "5", ""})},
                                              {"hotFixes", hotFixes}});
        return name;
    }

    // Each has a file name of its own, so that no two downloads meet in one file.
    std::string fileName() {
        const std::string number = std::to_string(m_names.size());
        std::string name = one({"platform", "Services", "antivirus", "repost", "HF_x"}) + number;
        if (happens(1))
            name += happens(50) ? "$x" : " x";
        name += happens(1) ? ".zip" : ".pkg";
        if (happens(5))
            name = "DynamicBranding.pkg";
        if (name == "DynamicBranding.pkg" && m_hasBranding)
            name = "other" + number + ".pkg";
        m_hasBranding = m_hasBranding || name == "DynamicBranding.pkg";
        m_names.push_back(name);
        return name;
    }

    Json hotFix() {
        const std::string name = fileName();
        const std::string file = "packages/" + name;
        m_made.files[file] = "package " + name;
        Json fix = {{"file", file}, {"url", packageHost + "/p/" + name}, {"repost", happens(25)}};
        if (!happens(5))
            fix["version"] = one(versions);
        if (!happens(1))
            fix["build"] = happens(1) ? "none" : one(builds);
        bound(fix, "minVersion", productBounds);
        bound(fix, "maxVersion", productBounds);
        bound(fix, "minSystem", systemBounds);
        bound(fix, "maxSystem", systemBounds);
        return fix;
    }

    void bound(Json &fix, const char *key, const Texts &bounds) {
        if (happens(30))
            fix[key] = one(bounds);
    }

    Texts order() {
        Texts names;
        for (const std::string &name : m_names) {
            if (happens(40))
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
    Texts m_names;
    bool m_hasBranding = false;
};

} // namespace

ChanceRelease chanceRelease(std::mt19937 &chance) {
    return Maker(chance).make();
}
