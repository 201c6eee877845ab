// An update service whose reply does not come, comes in part, late or without an end, or is none.

#include <filesystem>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Fault.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"

namespace {

const std::string replyFile = "/srv/rehearsal/service/reply.xml";
const std::string sent = ">INFO :Tolvane Handler - sendTolvaneRequest\n";
const std::string timedOut = ">Tolvane Handler : Error : Velbrin Request Time out\n";

enum class Outcome { complete, noReply, noProducts, refusal };

struct ReplyFault {
    const char *name;
    Trouble trouble;
    std::string transferred; // traced of it
    std::string reply;       // what the engine has of it; {reply} is the whole of a good one
    Outcome outcome;
    std::string judged = tracedUpdateAvailable;
};

std::string httpCode(int code) {
    return ">Tolvane Handler : INFO Velbrim http code = " + std::to_string(code) + "\n";
}

std::string tracedWithoutProducts(const Job &job, const std::string &reply) {
    return tracedReplyParsing(reply) + tracedDownloads + tracedDownloads +
           (job.task == Task::update ? ">INFO : Getting Hotfix info\n"
                                       ">No products found For Update\n" +
                                           tracedEnd
                                     : ">INFO : Getting Package info\n"
                                       ">ERROR: No products found For Fresh Install\n");
}

void expectTrace(const Job &job, const ReplyFault &fault, const std::string &reply) {
    if (fault.outcome == Outcome::noReply) {
        EXPECT_EQ(tracedSinceFirst(sent), fault.transferred + tracedNoReply(job));
        return;
    }
    const std::string judged = fault.transferred + ">INFO :Tolvane Response - " + reply +
                               "\n"
                               ">INFO : Processing Tolvane Response\n" +
                               fault.judged;
    const std::string trace = tracedSinceFirst(sent);
    if (fault.outcome == Outcome::noProducts)
        EXPECT_EQ(trace, judged + tracedWithoutProducts(job, reply));
    else if (fault.outcome == Outcome::refusal)
        EXPECT_EQ(trace, judged + ">ERROR Tolvane response\n" + (job.task == Task::update ? tracedEnd : ""));
    else
        EXPECT_EQ(trace.substr(0, judged.size()), judged);
}

std::string withReply(std::string text, const std::string &reply) {
    const std::string name = "{reply}";
    const std::size_t at = text.find(name);
    return at == std::string::npos ? text : text.replace(at, name.size(), reply);
}

void expectReplyFault(const Job &job, ReplyFault fault) {
    offerPackages(job, onePackage);
    const std::string good = readText(replyFile);
    for (auto &[name, bytes] : fault.trouble.raw)
        bytes = withReply(bytes, good);
    fault.trouble.script = withReply(fault.trouble.script, good);
    makeTrouble(job, fault.trouble);
    const InstalledFiles installed;
    const Ended first = runJob(job);
    const bool complete = fault.outcome == Outcome::complete;
    EXPECT_EQ(first.status, job.task == Task::update || complete ? 0 : 1);
    expectTrace(job, fault, fault.reply.empty() ? "" : withReply(fault.reply, good));
    if (complete) {
        EXPECT_TRUE(isComplete(job, first, onePackage));
    } else {
        EXPECT_TRUE(isRefused(job, first));
        EXPECT_TRUE(installed.areUnchanged());
        EXPECT_TRUE(sameFiles({}, filesBelow(keyCoreDownloadCache)));
    }
    expectCompleteOnceItIsGone(job);
}

// Rules for the service.
Trouble rule(const std::string &action) {
    return {"{service} * " + action + "\n", {}};
}

Trouble raw(const std::string &bytes, const std::string &ending = "") {
    return {"{service} * raw answer " + ending + "\n", {{"answer", bytes}}};
}

std::vector<ReplyFault> brokenOff() {
    const std::string part = "<productresponse status=\"0\"><pkglist>";
    return {
        {"ClosedWithoutAnAnswer", rule("drop"), "", "", Outcome::noReply},
        {"ClosedAtTheFirstByte", rule("cut 0"), "", "", Outcome::noReply},
        {"ClosedInMidReply", rule("cut 37"), "", part, Outcome::noProducts},
        {"ResetAtTheFirstByte", rule("reset 0"), "", "", Outcome::noReply},
        {"ResetInMidReply", rule("reset 37"), "", part, Outcome::noProducts},
        {"NoLengthAndCut", raw(head("200 OK") + part), httpCode(200), part, Outcome::noProducts},
        {"ShorterAnnounced", raw(headWithLength("37") + "{reply}"), httpCode(200), part, Outcome::noProducts},
        // What came of a broken transfer is judged by what is there.
        {"HundredGigabytesAnnouncedAndCut", raw(headWithLength("107374182400") + "{reply}"), "", "{reply}",
         Outcome::complete},
        {"Slow", rule("slow 400"), httpCode(200), "{reply}", Outcome::complete},
    };
}

std::vector<ReplyFault> noReplies() {
    const std::string page = "<html><body>Welcome</body></html>";
    const std::string moved =
        head("302 Found\r\nLocation: https://scripted.brovik.example/reply.xml\r\nContent-Length: " +
             std::to_string(page.size())) +
        page;
    return {
        {"Empty", rule("status 200"), httpCode(200), "", Outcome::noReply},
        {"NotXml", rule("status 200 10010110"), httpCode(200), "10010110", Outcome::noProducts},
        {"HtmlPage", rule("status 200 " + page), httpCode(200), page, Outcome::noProducts},
        {"Http500WithoutADocument", rule("status 500 " + page), httpCode(500), page, Outcome::noProducts},
        {"Http500WithAGoodDocument", rule("status 500 {reply}"), httpCode(500), "{reply}", Outcome::complete},
        {"Http404WithoutABody", rule("status 404"), httpCode(404), "", Outcome::noReply},
        {"Redirected", rule("moved 302 https://scripted.brovik.example/reply.xml"), httpCode(302), "",
         Outcome::noReply},
        {"RedirectedWithAPage", raw(moved), httpCode(302), page, Outcome::noProducts},
        {"GarbageInsteadOfHttp", raw("\x01\x02\x03\r\n\r\n"), "", "", Outcome::noReply},
        {"Http09", raw("{reply}"), "", "", Outcome::noReply},
        {"BadChunkSize", raw(head("200 OK\r\nTransfer-Encoding: chunked") + "zz\r\n{reply}"), "", "",
         Outcome::noReply},
        {"EndlessHeaders",
         {"{service} * raw status repeat header\n",
          {{"status", "HTTP/1.1 200 OK\r\n"}, {"header", "Header: field\r\n"}}},
         "",
         "",
         Outcome::noReply},
        {"Endless",
         {"{service} * raw head repeat element\n",
          {{"head", head("200 OK")}, {"element", "<productresponse status=\"0\"/>"}}},
         "",
         "",
         Outcome::noReply},
    };
}

std::vector<ReplyFault> statuses() {
    const auto answered = [](const char *name, const std::string &reply, const std::string &judged) {
        return ReplyFault{name, rule("status 200 " + reply), httpCode(200), reply, Outcome::refusal, judged};
    };
    return {
        answered("Status1", "<productresponse status=\"1\"/>", ">INFO : TolvaneHandler - No Update\n"),
        answered("StatusMinus1",
                 "<productresponse status=\"-1\"><error><errorcode>0</errorcode>"
                 "<errordetail>no such affiliate</errordetail></error></productresponse>",
                 ">ERROR : TolvaneHandler - Update Response Failed\n"
                 ">ERROR : TolvaneHandler - no such affiliate\n"),
        answered("Status2", "<productresponse status=\"2\"/>",
                 ">ERROR : TolvaneHandler - Unsuported response with statuscocde 2\n"),
    };
}

// Cost a minute each.
std::vector<ReplyFault> stalled() {
    const std::string part = "<productresponse status=\"0\"><pkglist>";
    return {
        {"StalledInHeadersLong", rule("silent"), timedOut, "", Outcome::noReply},
        {"StalledInMidReplyLong", rule("stall 37"), timedOut, part, Outcome::noProducts},
        {"WholeAndStalledLong", raw(head("200 OK") + "{reply}", "stall"), timedOut, "{reply}",
         Outcome::complete},
    };
}

// A document whose status is missing, in every other way a good one.
void expectMissingStatusTakenForSuccess(const Job &job) {
    offerPackages(job, onePackage);
    std::string reply = readText(replyFile);
    const std::string status = " status=\"0\"";
    answerWith(reply.replace(reply.find(status), status.size(), ""));
    const Ended ended = runJob(job);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(tracedSinceFirst(sent).substr(0, tracedReply(reply).size() + tracedUpdateAvailable.size()),
              tracedReply(reply) + tracedUpdateAvailable);
    EXPECT_TRUE(isComplete(job, ended, onePackage));
    expectCompleteNow(job, onePackage);
}

void expectFortyMegabytesRead(const Job &job) {
    offerPackages(job, onePackage);
    const std::string reply = readText(replyFile);
    std::string more;
    while (more.size() < 40 * 1024 * 1024)
        more += "<note>" + std::string(100000, 'x') + "</note>";
    const std::size_t end = reply.rfind("</productresponse>");
    answerWith(reply.substr(0, end) + more + reply.substr(end));
    const Ended ended = runJob(job);
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(isComplete(job, ended, onePackage));
    EXPECT_GT(std::filesystem::file_size(traceLogPath), 2 * more.size()); // the reply stands there twice
    answerWith(reply);
    expectCompleteNow(job, onePackage);
}

const bool registered = [] {
    for (const auto &table : {brokenOff(), noReplies(), statuses(), stalled()}) {
        for (const ReplyFault &fault : table)
            registerFault("ReplyFault", fault.name, httpsJobs(),
                          [fault](const Job &job) { expectReplyFault(job, fault); });
    }
    registerFault("ReplyFault", "StatusMissing", httpsJobs(), expectMissingStatusTakenForSuccess);
    registerFault("ReplyFault", "FortyMegabytes", httpsJobs(), expectFortyMegabytesRead);
    return true;
}();

} // namespace
