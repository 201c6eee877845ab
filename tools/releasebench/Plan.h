// What a job of the engine does with an offer, step by step, told by the engine's own functions. Pure: no
// file, no network, no clock.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "HotFixSelection.h"
#include "InstallationOrder.h"
#include "Offer.h"
#include "PackageRecords.h"

struct Machine {
    std::string product; // version
    std::string system;  // version
};

struct Download {
    std::string url;
    std::string path; // "" when no command may name it
};

enum class Outcome { done, nothingToDo, fails };

struct Plan {
    Outcome outcome = Outcome::done;
    std::string reason; // of any other outcome than done, with the engine's own line where it writes one

    std::vector<Selection> selections; // one for each hot-fix of the offer; fewer when the engine ends at one
    std::optional<std::size_t> endedAt; // the hot-fix of the offer that the engine's process ends at
    std::vector<Download> downloads;
    std::vector<std::string> branding; // packages that are installed at once
    std::list<PlacedPackage> order;    // of all others, those that are left out last
    // The product's, afterwards; as before when the outcome is another one than done.
    std::string version;
    std::string build; // "" when it stays as it is
};

// Plans updates from one offer for many machines: what is the same for all of them is done once.
class UpdatePlanner {
public:
    // What is given must outlive the planner.
    UpdatePlanner(const Offer &offer, const std::vector<std::string> &orderNames);

    Plan planFor(const Machine &machine) const;
    // Of a product that chose these hot-fixes, in the offer's order. The plan has no selections.
    Plan planWith(const std::string &product, const std::vector<std::size_t> &chosen) const;

private:
    std::list<std::string> urlsOf(const std::vector<std::size_t> &chosen, Plan &plan) const;

    const Offer &m_offer;
    const std::vector<std::string> &m_orderNames;
    PackageRecords m_records;
};

Plan planUpdate(const Offer &offer, const Machine &machine, const std::vector<std::string> &orderNames);
Plan planFreshInstall(const Offer &offer);

// The packages' order of installation, when the machine lists them so.
void orderPackages(std::vector<std::string> paths, const std::vector<std::string> &orderNames, Plan &plan);

// What is installed by the script, in its order.
std::list<std::string> scriptedPackages(const Plan &plan);

// The bound of a hot-fix that speaks against it, and what it was compared with.
struct Bound {
    const char *key; // of release.json
    std::string value;
    std::string compared;
};
std::optional<Bound> decidingBound(const HotFixPackageInfo &hotFix, const Machine &machine,
                                   Selection selection);
