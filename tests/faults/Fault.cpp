#include "Fault.h"

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"

namespace {

const std::string serviceFolder = "/srv/rehearsal/service";

std::string withAll(std::string text, const std::string &name, const std::string &value) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size()))
        text.replace(at, name.size(), value);
    return text;
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
    const std::map<std::string, std::string> values = {
        {"{url}", urlOf(job, "One.pkg")},
        {"{path}", pathIn(job, "One.pkg")},
        {"{catalogUrl}", catalogUrlOf(job)},
        {"{catalog}", catalogUrlOf(job).substr(catalogUrlOf(job).rfind('/'))},
        {"{catalogFile}", catalogPathOf(job)},
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

std::string onePackageContent() {
    return someBytes(100000);
}

const Packages onePackage = {{"One.pkg", onePackageContent()}};

std::string tracedSinceFirst(const std::string &text) {
    const std::string all = transcriptOfOneJob();
    const std::size_t at = all.find(text);
    return at == std::string::npos ? all : all.substr(at + text.size());
}

std::string tracedSinceLast(const std::string &text) {
    const std::string all = transcriptOfOneJob();
    const std::size_t at = all.rfind(text);
    return at == std::string::npos ? all : all.substr(at + text.size());
}

std::string head(const std::string &lines) {
    return "HTTP/1.1 " + lines + "\r\n\r\n";
}

std::string headWithLength(const std::string &length) {
    return head("200 OK\r\nContent-Length: " + length);
}

std::string ofCatalog(std::string lines) {
    return withAll(std::move(lines), "{url}", "{catalogUrl}");
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

void expectCompleteOnceItIsGone(const Job &job) {
    misbehave("");
    expectCompleteNow(job, onePackage);
}
