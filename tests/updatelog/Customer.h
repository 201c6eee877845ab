// A customer's machine on which the real engine runs, over the real servers, and whoever knows of each run
// what happened, without its log.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "KnownRun.h"
#include "Release.h"
#include "Witnesses.h"

// What a server does with the first requests for a file; with later ones, nothing.
struct Fault {
    const char *name;
    std::vector<std::string> actions; // see misbehave()
    bool always = false;              // the last action stays
    bool hasHash = true;              // in the catalog
};

// What the service replies.
enum class Reply { release, unfit, noUpdate, refusal, unsupported, page, empty, none };

struct PlannedPackage {
    std::string name;
    const Fault *fault;
};

struct PlannedDownload {
    Reply reply = Reply::release;
    const Fault *catalogFault = nullptr; // of one catalog; null for none
    std::vector<PlannedPackage> packages;
    bool isKilled = false; // once the servers have been asked all
    unsigned retries = 0;  // of a fresh installation
    std::string affiliate = "105-1";
};

struct PlannedInstallation {
    enum class Way { whole, withoutScript, emptyList, noList, killed };
    Way way = Way::whole;
    std::vector<std::string> packages; // none: those that a check has left, where it has left any
    std::set<std::string> refused;
};

// What was seen of one job.
struct Turn {
    std::vector<SeenRequest> requests;
    std::vector<SeenHash> hashes;
};

class Customer {
public:
    Customer();

    static const std::vector<std::string> &packageNames();

    // As before the first run.
    void restore() const;

    // Each gives what is known of the run, which has ended then.
    KnownRun check(const PlannedDownload &plan) const;
    KnownRun installation(const PlannedInstallation &plan) const;
    KnownRun unknownMode() const;
    KnownRun missingArguments() const;
    // By a host. One that fails before its downloads is made again, if it is to be retried.
    std::vector<KnownRun> freshInstallation(const PlannedDownload &plan) const;
    // The second one begins while the first one works.
    std::vector<KnownRun> twoChecks(const PlannedDownload &plan) const;

private:
    void leaveList(const PlannedInstallation &plan) const;
    // Offers what is planned, and tells the servers what to do wrong.
    void offerAll(const PlannedDownload &plan, bool isFresh) const;
    std::vector<HotFix> hotFixesOf(const PlannedDownload &plan) const;
    std::map<std::string, KnownTransfer> transfersOf(const Turn &turn) const;
    KnownRun downloaded(const PlannedDownload &plan, const Turn &turn) const;

    std::map<std::string, std::string> m_contents; // by names
    std::map<std::string, HotFix> m_hotFixes;
    std::string m_configuration;
    std::string m_propertyList;
};
