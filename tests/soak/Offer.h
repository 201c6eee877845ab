// What the maker offers to the soaked process, and what goes wrong with it in some of its jobs.
#pragma once

#include <map>
#include <string>
#include <vector>

enum class Fault {
    none,
    cut,         // a package's connection ends in its middle, and so does the resume's
    wrongBytes,  // a package never has its hash
    errorPage,   // a package's server answers 503
    refused,     // nobody listens where a package is said to be
    serviceDown, // the update service answers nothing
};

const char *nameOf(Fault fault);

// Packages with their contents by the path where the engine leaves them.
using Contents = std::map<std::string, std::string>;

class Offer {
public:
    // Publishes everything that the jobs ask for.
    Offer();

    // Has the servers offer an update, or a fresh installation, with a fault.
    void update(Fault fault) const;
    void installation(Fault fault) const;

    const Contents &updatePackages() const { return m_updatePackages; }
    const Contents &installationPackages() const { return m_installationPackages; }
    // Of an installation without a fault.
    std::size_t replyBytes() const { return m_installationReply.size(); }

private:
    Contents m_updatePackages;
    Contents m_installationPackages;
    std::string m_updateReply;
    std::string m_updateRefusedReply;
    std::string m_installationReply;
    std::string m_installationRefusedReply;
};
