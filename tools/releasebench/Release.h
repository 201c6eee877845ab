// A release as its folder describes it, which every command reads.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// A value of release.json, and those that it is made of.
struct PlacedValue {
    int line = 1;
    std::vector<std::string> keys; // of an object's members; none for an array
    std::vector<PlacedValue> members;

    // The one that is added stays where it is until the next.
    PlacedValue &add(std::string key, int itsLine);
    PlacedValue &addItem(int itsLine);
};

// Where things stand in release.json. A place is a JSON pointer, "/catalogs/0/hotFixes/2/minVersion" say,
// with nothing escaped.
class Places {
public:
    // To be filled while the file is read.
    PlacedValue &root() { return m_root; }
    // The line of the place, or of the nearest one around it.
    int lineOf(const std::string &pointer) const;

private:
    PlacedValue m_root;
};

// One package of a catalog. Texts that release.json lacks are empty, but for the name.
struct ReleasePackage {
    std::string place;
    std::string file; // relative to the folder
    std::string url;
    std::string name;
};

struct ReleaseHotFix : ReleasePackage {
    std::string minVersion;
    std::string maxVersion;
    std::string minSystem;
    std::string maxSystem;
    std::string version;
    std::string build;
    bool repost = false;
};

struct ReleaseCatalog {
    std::string place;
    std::string name; // a file name, of one catalog of the release only
    std::string root;
    std::string version;
    std::string productVersion;
    std::string mainBuild;
    std::string brandingBuild;
    std::optional<ReleasePackage> fullInstall;
    std::vector<ReleaseHotFix> hotFixes;

    // As the engine composes it from the service's reply.
    std::string url() const { return root + "/" + name + ".xml"; }
};

// An application's catalogs, which the release has by these names.
struct ReleaseProduct {
    std::string place;
    std::string application;
    std::vector<std::string> catalogs;
};

// One answer of the service.
struct Audience {
    std::string place;
    std::vector<std::string> affiliates; // "*" is everybody
    std::string releaseName;
    std::string coreVersion;
    std::string partnerVersion;
    std::vector<ReleaseProduct> products;
    std::vector<ReleaseProduct> partners;
};

constexpr const char *releaseFileName = "release.json";

struct Release {
    std::filesystem::path folder;
    std::vector<Audience> audience;
    std::vector<ReleaseCatalog> catalogs;
    std::vector<std::string> order;
    Places places;

    std::filesystem::path file() const { return folder / releaseFileName; }
    const ReleaseCatalog &catalogNamed(const std::string &name) const;
    // "FOLDER/release.json:12: catalogs[0].name", for messages.
    std::string at(const std::string &place) const;
};

// A place in the way people write it: "catalogs[0].name".
std::string readablePlace(const std::string &pointer);
