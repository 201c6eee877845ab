#include "Fault.h"

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"

namespace {

const std::string serviceFolder = "/srv/rehearsal/service";

std::string catalogOf(const Job &job) {
    return job.task == Task::update ? "core_maccat.xml" : "One_maccat.xml";
}

std::string withAll(std::string text, const std::string &name, const std::string &value) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size()))
        text.replace(at, name.size(), value);
    return text;
}

const std::string recorded = ">INFO: Updating /tmp/configuratiob.plist : buildno and version \n"
                             ">INFO: Version and Build no Updated to plist successfully\n";

// Every look at the progress of a complete installation records the release: how many there are is chance.
std::string traceWithOneRecord() {
    std::string trace = transcript();
    while (trace.find(recorded) != trace.rfind(recorded))
        trace.erase(trace.rfind(recorded), recorded.size());
    return trace;
}

class FaultCase : public testing::Test {
public:
    explicit FaultCase(std::function<void()> body)
        : m_body(std::move(body)) {}
    void TestBody() override { m_body(); }

private:
    const std::function<void()> m_body;
};

} // namespace

std::string filledIn(std::string text, const Job &job) {
    const std::string catalog = catalogOf(job);
    const std::map<std::string, std::string> values = {
        {"{url}", urlOf(job, "One.pkg")},
        {"{path}", pathIn(job, "One.pkg")},
        {"{catalogUrl}", std::string(job.scheme) + "://" + std::string(job.catalogHost) + "/" + catalog},
        {"{catalog}", "/" + catalog},
        {"{catalogFile}", coreCatalogDirectory() + "//" + catalog},
        {"{service}",
         std::string("/velbrin/1.0.0.0/?reqtype=") + (job.task == Task::update ? "mac_update" : "mac_web")},
    };
    for (const auto &[name, value] : values)
        text = withAll(std::move(text), name, value);
    return text;
}

void makeTrouble(const Job &job, const Trouble &trouble) {
    for (const auto &[name, bytes] : trouble.raw)
        writeText(serviceFolder + "/raw/" + name, bytes);
    for (const auto &[name, content] : trouble.files)
        publish(scriptedHost + "/" + name, content);
    misbehave(filledIn(trouble.script, job));
}

void endTrouble() {
    misbehave("");
}

std::string onePackageContent() {
    return someBytes(100000);
}

const Packages onePackage = {{"One.pkg", onePackageContent()}};

std::string tracedSinceFirst(const std::string &text) {
    const std::string all = traceWithOneRecord();
    const std::size_t at = all.find(text);
    return at == std::string::npos ? all : all.substr(at + text.size());
}

std::string tracedSinceLast(const std::string &text) {
    const std::string all = traceWithOneRecord();
    const std::size_t at = all.rfind(text);
    return at == std::string::npos ? all : all.substr(at + text.size());
}

std::string head(const std::string &lines) {
    return "HTTP/1.1 " + lines + "\r\n\r\n";
}

std::string headWithLength(const std::string &length) {
    return head("200 OK\r\nContent-Length: " + length);
}

std::string tracedEndOf(const Job &job, bool complete) {
    if (job.task == Task::freshInstall)
        return complete ? recorded : "";
    return (complete ? tracedPlainConfiguration() : ">ERROR: Download Failed\n") + tracedEnd;
}

std::string ofCatalog(std::string lines) {
    return withAll(std::move(lines), "{url}", "{catalogUrl}");
}

std::string tracedWithoutReply(const Job &job) {
    return ">INFO :Tolvane Response - \n"
           ">INFO : Processing Tolvane Response\n" +
           tracedUpdateAvailable + ">ERROR Tolvane response\n" + (job.task == Task::update ? tracedEnd : "");
}

std::string tracedWithoutCatalog(const Job &job) {
    return job.task == Task::update ? ">INFO : Getting Hotfix info\n"
                                      ">No products found For Update\n" +
                                          tracedEnd
                                    : ">INFO : Getting Package info\n"
                                      ">INFO: Getting downloaded package URLS\n"
                                      ">ERROR:  Package Missing\n"
                                      ">ERROR: Package Missing\n";
}

const std::vector<Job> &allJobs() {
    static const std::vector<Job> jobs = {updateByHttps, freshInstallByHttps, updateByHttp,
                                          freshInstallByHttp};
    return jobs;
}

const std::vector<Job> &jobsByBoth() {
    static const std::vector<Job> jobs = {updateByHttps, freshInstallByHttp};
    return jobs;
}

const std::vector<Job> &httpsJobs() {
    static const std::vector<Job> jobs = {updateByHttps, freshInstallByHttps};
    return jobs;
}

void registerFault(const char *suite, const std::string &name, const std::vector<Job> &jobs,
                   const std::function<void(const Job &)> &body) {
    for (const Job &job : jobs) {
        testing::RegisterTest(
            suite, (name + "/" + job.name).c_str(), nullptr, nullptr, __FILE__, __LINE__,
            [job, body]() -> testing::Test * { return new FaultCase([job, body] { body(job); }); });
    }
}

std::map<std::string, std::string> ownFiles() {
    std::map<std::string, std::string> files;
    for (const std::string &path : {prodConfigXml, std::string(configurationPlistPath)})
        files[path] = readText(path);
    return files;
}

void expectCompleteOnceItIsGone(const Job &job) {
    endTrouble();
    const Ended second = runJob(job);
    EXPECT_EQ(second.status, 0);
    EXPECT_TRUE(isComplete(job, second, onePackage));
}
