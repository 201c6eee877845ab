// What the maker publishes: packages, catalogs and the update service's reply, put where the sealed machine's
// servers serve them from.
#pragma once

#include <map>
#include <string>
#include <vector>

// Serves with ranges, and as it is.
inline const std::string downloadHost = "https://download.brovik.example";
// Serves as the script says: see misbehave().
inline const std::string scriptedHost = "https://scripted.brovik.example";

// One "hf_package" of a catalog. An empty text leaves the element out.
struct HotFix {
    std::string url;
    std::string hash;
    std::string size;
    std::string productVer = "1.0.1.0";
    std::string buildNo = "110";
    std::string minVer;
    std::string maxVer;
    std::string osxMinVer;
    std::string osxMaxVer;
    std::string repost;
};

// Puts a file on one of the two hosts.
void publish(const std::string &url, const std::string &content);

// Publishes a package; the hot-fix names it with its size and its hash in upper case.
HotFix publishPackage(const std::string &url, const std::string &content);

// A package that the machine's installer can unpack: file contents by path.
std::string packed(const std::map<std::string, std::string> &files);

// Bytes that look like no text, repeat nowhere near and are the same in every run.
std::string someBytes(std::size_t count);

// By the system's tool, in the catalogs' upper case.
std::string sha1(const std::string &content);

std::string catalogText(const std::vector<HotFix> &hotFixes, const std::string &configuration = "");
void publishCatalog(const std::string &url, const std::vector<HotFix> &hotFixes,
                    const std::string &configuration = "");

// The service answers every request with these bytes.
void answerWith(const std::string &reply);
// The service answers from this data (see rehearsal/README.md).
void answerFrom(const std::string &releases);

// One product with one catalog on the scripted host, as most scenarios need it.
extern const std::string plainProduct; // its markup in the reply
extern const std::string plainReply;
extern const std::string plainCatalogUrl;
void offer(const std::vector<HotFix> &hotFixes);

// Has the service misbehave: lines "PATH ATTEMPT ACTION [ARGUMENT]" (see rehearsal/README.md).
void misbehave(const std::string &script);
