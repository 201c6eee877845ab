// A host that never ends: it runs one job after another by what the installed library exports, and looks
// after each whether it did what it should.
#pragma once

#include <string>

#include "Engine.h"
#include "Offer.h"

class Host {
public:
    explicit Host(const Offer &offer);

    // "CheckForInstall" by the library's main, which makes the engine anew and releases it at its end; so
    // nobody may ask the engine meanwhile. Throws when it did not end as the fault has it.
    void update(Fault fault) const;

    // By FreshInstall, with threads that ask the engine meanwhile, and by RetryDownloadPackages where
    // something failed; the engine is released then. Throws when it did not end as the fault has it.
    void install(Fault fault);

    // The same without a fault, and the engine stays.
    void installAndStay();
    // In an engine that stayed an installation fails: it reads the replies of both in one text.
    void installInVain();
    void release() const;

private:
    int runMain(const std::string &mode) const;
    void installWithPollers(Fault fault);
    void retry(Fault fault);
    void expectInstalled() const;

    const Offer &m_offer;
    Engine m_engine;
    int (*m_main)(int, char *[]) = nullptr;
};
