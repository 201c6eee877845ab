// Servers whose answers break the rules of HTTP, or that tell lengths that do not hold.

#include "PackageFault.h"

namespace {

using namespace Lines;

const std::string content = onePackageContent();

std::string repeated(const std::string &text, int times) {
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

PackageFault always(const char *name, const std::string &answer, const std::string &transfers, bool complete,
                    const std::string &file) {
    return {name, {"/One.pkg * raw answer\n", {{"answer", answer}}}, transfers, complete, file};
}

PackageFault once(const char *name, const std::string &answer, const std::string &transfers) {
    return {name, {"/One.pkg 1 raw answer\n", {{"answer", answer}}}, transfers, true, content};
}

std::vector<PackageFault> lengths() {
    const std::string start = content.substr(0, 40000);
    return {
        once("NoLengthAndCutOnce", head("200 OK") + start, goodTheSecondTime),
        always("NoLengthAndCutAlways", head("200 OK") + start, givenUpAtLast, false, start),
        always("LongerThanAnnounced", headWithLength("100000") + content + "more", fetched, true, content),
        once("ShorterAnnouncedOnce", headWithLength("40000") + content, goodTheSecondTime),
        always("ShorterAnnouncedAlways", headWithLength("40000") + content, givenUpAtLast, false, start),
        once("HundredGigabytesAnnouncedAndCutOnce", headWithLength("107374182400") + start, resumed),
        always("HundredGigabytesAnnouncedAndCutAlways", headWithLength("107374182400") + start,
               started + partial + again + failedWith(200, 33), false, start),
        always("LengthBelowZero", headWithLength("-5") + content, started + failedWith(200, 8), false, ""),
        always("LengthThatIsNoNumber", headWithLength("many") + content, started + failedWith(200, 8), false,
               ""),
        always("LengthBeyondAllNumbers", headWithLength("99999999999999999999999") + content, fetched, true,
               content),
    };
}

std::vector<PackageFault> chunks() {
    const std::string begin = head("200 OK\r\nTransfer-Encoding: chunked");
    return {
        always("ChunkSizeThatIsNoNumber", begin + "zz\r\n" + content, started + failedWith(200, 56), false,
               ""),
        always("ChunkSizeBeyondAllNumbers", begin + "fffffffffffffffffffff\r\n" + content,
               started + failedWith(200, 56), false, ""),
        once("CutInAChunkOnce", begin + "9c40\r\n" + content.substr(0, 40000), resumed),
        always("ChunkLongerThanItSays", begin + "9c40\r\n" + content, started + failedWith(200, 56), false,
               content.substr(0, 40000)),
    };
}

std::vector<PackageFault> heads() {
    const std::string hundredKilobytes(100 * 1024, 'x');
    return {
        always("GarbageInsteadOfHttp", content, started + failedWith(0, 1), false, ""),
        always("Http09", "<html>as of old</html>\n", started + failedWith(0, 1), false, ""),
        always("AnswerThatEndsInItsHead", "HTTP/1.1 200 OK\r\nContent-Le", givenUpAtLast, false, ""),
        always("HeaderOfHundredKilobytes",
               "HTTP/1.1 200 OK\r\nX: " + hundredKilobytes + "\r\nContent-Length: 100000\r\n\r\n" + content,
               started + failedWith(200, 27), false, ""),
        always("HundredKilobytesOfHeaders",
               "HTTP/1.1 200 OK\r\n" + repeated("Header: field\r\n", 6900) +
                   "Content-Length: 100000\r\n\r\n" + content,
               fetched, true, content),
        {"EndlessHeaders",
         {"/One.pkg * raw status repeat header\n",
          {{"status", "HTTP/1.1 200 OK\r\n"}, {"header", "Header: field\r\n"}}},
         started + failedWith(200, 56),
         false,
         ""},
        {"EndlessHeader",
         {"/One.pkg * raw status repeat header\n",
          {{"status", "HTTP/1.1 200 OK\r\nX: "}, {"header", "xxxxxxxx"}}},
         started + failedWith(200, 27),
         false,
         ""},
        always("ManyInterimAnswers",
               repeated(head("102 Processing"), 1000) + headWithLength("100000") + content, fetched, true,
               content),
        {"EndlessInterimAnswers",
         {"/One.pkg * raw interim repeat interim\n", {{"interim", head("102 Processing")}}},
         started + failedWith(102, 56),
         false,
         ""},
    };
}

const bool registered = [] {
    registerPackageFaults(lengths());
    registerPackageFaults(chunks());
    registerPackageFaults(heads());
    registerPackageFaults(
        {{"HundredGigabytesAnnouncedAndStalled",
          {"/One.pkg * raw answer stall\n", {{"answer", headWithLength("107374182400") + content}}},
          started + timedOut,
          false,
          content}},
        {updateByHttps});
    return true;
}();

} // namespace
