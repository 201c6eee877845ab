// URLs that the engine cannot fetch from, or should not.
#include <algorithm>
#include <string_view>
#include <unordered_map>

#include <boost/algorithm/string/case_conv.hpp>

#include "LintInput.h"
#include "LintRule.h"
#include "Text.h"
#include "UrlParts.h"

namespace {

void visitPackages(const LintInput &input, const VisitText &visit) {
    for (const LintHotFix &hotFix : input.hotFixes())
        visit(hotFix.record().url, [&] { return hotFix.at(Item::url); });
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.product.url.empty())
            visit(catalog.product.url, [&] { return catalog.places->fullInstall(Item::url); });
    }
}

// Of packages and of catalogs.
void visitUrls(const LintInput &input, const VisitText &visit) {
    visitPackages(input, visit);
    for (const LintCatalog &catalog : input.catalogs) {
        if (catalog.source)
            visit(catalog.source->url(), [&] { return input.releasePlace(catalog.source->place + "/root"); });
    }
}

// In lower case; "" without one.
std::string schemeOf(const std::string &url) {
    return boost::algorithm::to_lower_copy(url.substr(0, std::min(url.find("://"), url.size())));
}

bool hasScheme(const std::string &url) {
    return contains(url, "://");
}

std::string hostOf(const std::string &url) {
    const std::size_t begin = hasScheme(url) ? url.find("://") + 3 : 0;
    return url.substr(begin, url.find_first_of("/?#", begin) - begin);
}

void checkMissing(const LintInput &input, const Tell &tell) {
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (hotFix.record().url.empty())
            tell(hotFix.at(), "no " + hotFix.word(Item::url));
    }
}

void checkHttps(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) {
                  return hasScheme(url) && schemeOf(url) == "http" ? url : "";
              }));
}

bool isFetched(const std::string &url) {
    const std::string scheme = schemeOf(url);
    return hasScheme(url) && (scheme == "https" || scheme == "http");
}

void checkScheme(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) -> std::string {
                  if (url.empty() || isFetched(url))
                      return "";
                  return hasScheme(url) ? "\"" + schemeOf(url) + "\" in " + url
                                        : "no scheme in \"" + url + "\"";
              }));
}

void checkMalformed(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) {
                  const bool isForOtherRules = !isFetched(url) || contains(url, " ");
                  const bool isServer = !hostOf(url).empty() && partsOf(url);
                  return isForOtherRules || isServer ? "" : "no host and port in " + url;
              }));
}

void checkBlanks(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) {
                  const bool isInFileName = isPackage(url) && contains(afterLastSlash(url), " ");
                  return contains(url, " ") && !isInFileName ? "a blank in \"" + url + "\"" : "";
              }));
}

void checkFileNames(const LintInput &input, const Tell &tell) {
    visitPackages(input, tellingFaults(tell, [](const std::string &url) {
                      return !url.empty() && afterLastSlash(url).empty() ? url + " names a folder" : "";
                  }));
}

void checkPackages(const LintInput &input, const Tell &tell) {
    visitPackages(input, tellingFaults(tell, [](const std::string &url) {
                      const std::string name = afterLastSlash(url);
                      return !name.empty() && !isPackage(url) ? "no \".pkg\" in \"" + name + "\"" : "";
                  }));
}

void checkDots(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) {
                  return contains(url, "/../") || contains(url, "/./") ? url : "";
              }));
}

void checkQueries(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) {
                  const std::size_t mark = url.find_first_of("?#");
                  return mark != std::string::npos ? std::string("\"") + url[mark] + "\" in " + url : "";
              }));
}

void checkCredentials(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) -> std::string {
                  return contains(hostOf(url), "@") ? "a name or password before the host" : "";
              }));
}

void checkAscii(const LintInput &input, const Tell &tell) {
    visitUrls(input, tellingFaults(tell, [](const std::string &url) {
                  const bool isAscii = std::all_of(url.begin(), url.end(), [](char character) {
                      return static_cast<signed char>(character) >= 0;
                  });
                  return isAscii ? "" : url;
              }));
}

void checkTwice(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        std::unordered_map<std::string_view, const LintHotFix *> firsts;
        for (const LintHotFix &hotFix : offer.hotFixes) {
            const HotFixPackageInfo &record = hotFix.record();
            const HotFixPackageInfo &first = firsts.emplace(record.url, &hotFix).first->second->record();
            if (!record.url.empty() && (first.hash != record.hash || first.productVer != record.productVer ||
                                        first.repost != record.repost))
                tell(hotFix.at(Item::url),
                     record.url + " with another hash, version or repost mark than before");
        }
    }
}

} // namespace

std::vector<LintRule> urlRules() {
    return {
        {"url-missing", Severity::error, "A hot-fix has no URL.",
         "An update that chooses it has a download that never completes, and fails.",
         "Give the package's URL.", "", checkMissing},
        {"url-not-https", Severity::warning, "A URL is not protected.",
         "What comes by http can be changed on its way: a package's SHA-1 is checked, a catalog is taken as "
         "it is.",
         "Publish by https.", "", checkHttps},
        {"url-scheme", Severity::error, "A URL is of another scheme than https, or of none.",
         "libcurl takes every protocol that it knows: a transfer may never end, by file it always fails, and "
         "without a scheme it guesses.",
         "Write an https URL.", "Replies and catalogs may name URLs of every protocol", checkScheme},
        {"url-malformed", Severity::error, "A URL names no server.",
         "libcurl finds no host in such a URL, or a port that is none: its transfer fails at once, or asks a "
         "server that was not meant.",
         "Write https://HOST/PATH, or https://HOST:PORT/PATH.", "", checkMalformed},
        {"url-blank", Severity::error, "A URL holds a blank.",
         "libcurl refuses such a URL, or the server the request.",
         "Publish under a plain name, or write %20 in a folder's name.", "", checkBlanks},
        {"url-no-file-name", Severity::error, "A package's URL ends with \"/\".",
         "The download's file would be a folder, which cannot be opened: the rest may be reported complete "
         "and the new version recorded without it.",
         "Name the package's file.", "A worker that cannot open its file is not counted.", checkFileNames},
        {"url-no-package", Severity::error, "A package's file name holds no \".pkg\".",
         "What is no package never counts as downloaded: the update or the installation fails.",
         "End the name with .pkg.", "Files that are not packages never count as downloaded or complete.",
         checkPackages},
        {"url-dots", Severity::warning, "A URL holds \"..\" or \".\" between slashes.",
         "libcurl takes them out before it asks: the server is asked for another path than stands there.",
         "Write the path out.", "", checkDots},
        {"url-query", Severity::warning, "A URL holds \"?\" or \"#\".",
         "The file's name on the machine is what follows the last \"/\", with all of that; an order name "
         "that is just the package's then fits no longer.",
         "Publish under a plain path.", "", checkQueries},
        {"url-credentials", Severity::error, "A URL holds a name or a password.",
         "URLs stand in catalogs and logs that everybody may read.", "Publish without them.", "",
         checkCredentials},
        {"url-not-ascii", Severity::warning, "A URL holds other characters than ASCII.",
         "They are sent as the bytes that stand there, which servers and file systems take differently.",
         "Use plain names.", "", checkAscii},
        {"url-twice", Severity::error, "Two hot-fixes of one URL differ in hash, version or repost mark.",
         "The engine finds a download's record by its URL: the first one's hash, folder and mark count for "
         "both.",
         "Give each package a URL of its own.", "", checkTwice},
    };
}
