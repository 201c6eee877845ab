#include "FileCheck.h"

#include <algorithm>
#include <set>

#include "Sha1.h"

namespace {

constexpr long ok = 200;
constexpr long partial = 206;

std::string statusText(long status, long expected) {
    return "HTTP " + std::to_string(status) + " instead of " + std::to_string(expected);
}

// Where an answer came from; https that leads to plain http is a finding.
void noteRedirects(const PublishedFile &file, const HttpAnswer &answer, ServerCheck &check) {
    if (answer.redirects.empty())
        return;
    std::string way;
    bool isOpen = false;
    for (const std::string &target : answer.redirects) {
        way += (way.empty() ? "" : ", then to ") + target;
        isOpen = isOpen || target.rfind("http:", 0) == 0;
    }
    check.facts.push_back("redirected " + std::to_string(answer.redirects.size()) +
                          (answer.redirects.size() == 1 ? " time, to " : " times, to ") + way);
    if (isOpen && file.url.rfind("https:", 0) == 0)
        check.find("redirect-to-http", "leads from https to plain http, where nobody proves who answers");
}

void compareLength(const std::string &method, const HttpAnswer &answer, const PublishedFile &file,
                   ServerCheck &check) {
    const std::string length = answer.header("content-length");
    if (length.empty())
        check.find("no-length", method + ": no length is told, so a transfer that breaks off looks whole");
    else if (length != std::to_string(file.size))
        check.find("length", method + ": a length of " + length + " instead of " + std::to_string(file.size));
}

// False when there is nobody to be asked anything more.
bool checkHead(const PublishedFile &file, const HttpAsker &asker, ServerCheck &check) {
    const HttpAnswer answer =
        asker.ask({file.url, true, ""}, [](const char * /*bytes*/, std::size_t /*count*/) { return true; });
    if (!answer.failure.empty()) {
        check.find("unreachable", "HEAD: " + answer.failure);
        return false;
    }
    noteRedirects(file, answer, check);
    if (answer.status != ok)
        check.find("status", "HEAD: " + statusText(answer.status, ok));
    else
        compareLength("HEAD", answer, file, check);
    return true;
}

// False when the file is not there as a whole.
bool checkWhole(const PublishedFile &file, const HttpAsker &asker, std::atomic<std::uintmax_t> &bytesRead,
                ServerCheck &check) {
    Sha1 sha1;
    std::uint64_t size = 0;
    const HttpAnswer answer = asker.ask({file.url, false, ""}, [&](const char *bytes, std::size_t count) {
        sha1.add(bytes, count);
        size += count;
        bytesRead += count;
        return size <= file.size; // more than that is wrong already
    });
    const std::size_t before = check.findings.size();
    if (!answer.failure.empty())
        check.find("broken", "GET: " + answer.failure + ", after " + std::to_string(size) + " bytes");
    else if (answer.status != ok)
        check.find("status", "GET: " + statusText(answer.status, ok));
    else if (size != file.size)
        check.find("length", "GET: " + std::string(size > file.size ? "more than " : "") +
                                 std::to_string(std::min(size, file.size)) + " bytes" +
                                 (size > file.size ? "" : " instead of " + std::to_string(file.size)));
    else if (sha1.hex() != file.hash)
        check.find("content", "GET: other bytes than those of " + file.name);
    else
        check.facts.push_back(std::to_string(size) + " bytes with the SHA-1 of " + file.name);
    return check.findings.size() == before;
}

// The rest of the file from an offset on, as far as it is compared. False when it is not as it should be.
bool checkRest(const PublishedFile &file, std::uint64_t offset, const HttpAsker &asker, ServerCheck &check) {
    constexpr std::size_t most = 65536;
    const std::string expected = file.bytes(offset, most);
    std::string got;
    const HttpAnswer answer =
        asker.ask({file.url, false, std::to_string(offset) + "-"}, [&](const char *bytes, std::size_t count) {
            const std::size_t room = expected.size() - got.size();
            got.append(bytes, std::min(count, room));
            return count <= room; // a transfer that is let end leaves its connection
        });
    const std::string what = "Range from " + std::to_string(offset) + ": ";
    const std::string range = "bytes " + std::to_string(offset) + "-" + std::to_string(file.size - 1) + "/" +
                              std::to_string(file.size);
    const std::size_t before = check.findings.size();
    if (!answer.failure.empty())
        check.find("broken", what + answer.failure);
    else if (answer.status == ok)
        check.find("no-ranges",
                   what + statusText(ok, partial) + ", so a transfer that breaks off cannot go on");
    else if (answer.status != partial)
        check.find("range-status", what + statusText(answer.status, partial));
    else if (answer.header("content-range") != range)
        check.find("range-header",
                   what + "\"" + answer.header("content-range") + "\" instead of \"" + range + "\"");
    else if (got != expected)
        check.find("range-content", what + "other bytes than those of " + file.name + " there");
    return check.findings.size() == before;
}

// In the middle, and the last byte alone.
void checkRanges(const PublishedFile &file, const HttpAsker &asker, ServerCheck &check) {
    if (file.size < 2)
        return;
    for (const std::uint64_t offset : std::set<std::uint64_t>{file.size / 2, file.size - 1}) {
        if (!checkRest(file, offset, asker, check))
            return;
    }
    check.facts.emplace_back("ranges");
}

} // namespace

ServerCheck checkFile(const PublishedFile &file, const HttpAsker &asker,
                      std::atomic<std::uintmax_t> &bytesRead) {
    ServerCheck check{"file", file.url, {}, {}};
    if (checkHead(file, asker, check) && checkWhole(file, asker, bytesRead, check))
        checkRanges(file, asker, check);
    return check;
}
