#include "Host.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <stdexcept>

#include <dlfcn.h>

#include "Background.h"
#include "Paths.h"
#include "TextFile.h"

namespace {

const char *const library = "/usr/local/Brovik/qrn/lib/libdownloadManager.so";

void expect(bool held, const std::string &what) {
    if (!held)
        throw std::runtime_error(what);
}

void expectContents(const Contents &packages) {
    for (const auto &[path, content] : packages)
        expect(readText(path) == content, path + " is not what was published");
}

// Asks the engine as a host's window does, twenty times a second, and for packages and hashes as well.
class Pollers {
public:
    Pollers(const Engine &engine, const std::string &package) {
        m_threads.run([this, &engine] { repeat([&engine] { static_cast<void>(engine.progress()); }); });
        m_threads.run([this, &engine, package] {
            repeat([&engine, package] {
                static_cast<void>(engine.packages());
                static_cast<void>(engine.expectedHash(package));
            });
        });
    }
    ~Pollers() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_over = true;
        }
        m_change.notify_all();
        m_threads.join();
    }
    Pollers(const Pollers &) = delete;
    Pollers &operator=(const Pollers &) = delete;

private:
    template <typename Question>
    void repeat(const Question &ask) {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_over) {
            lock.unlock();
            ask();
            lock.lock();
            m_change.wait_for(lock, std::chrono::milliseconds(50), [this] { return m_over; });
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_change;
    bool m_over = false;
    Background m_threads;
};

} // namespace

Host::Host(const Offer &offer)
    : m_offer(offer)
    , m_engine(library) {
    void *const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    m_main = reinterpret_cast<int (*)(int, char *[])>(dlsym(handle, "main"));
    expect(m_main != nullptr, "the library has no main");
    release();
}

int Host::runMain(const std::string &mode) const {
    std::array<std::string, 4> arguments = {"productUpdater", "1.0.0.5", "105-1", mode};
    std::array<char *, 5> texts{};
    for (std::size_t i = 0; i < arguments.size(); ++i)
        texts.at(i) = arguments.at(i).data();
    return m_main(static_cast<int>(arguments.size()), texts.data());
}

// A mode that main does not know does nothing, but main releases the engine as ever.
void Host::release() const {
    static_cast<void>(runMain("Release"));
}

void Host::update(Fault fault) const {
    m_offer.update(fault);
    expect(runMain("CheckForInstall") == 0, "main did not end with 0");
    if (fault != Fault::none && fault != Fault::cut) {
        expect(!std::filesystem::exists(packageListPath), "there is a list after a failed update");
        return;
    }
    const std::string list = readText(packageListPath);
    std::size_t length = 0;
    for (const auto &[path, content] : m_offer.updatePackages()) {
        expect(list.find(path + "\n") != std::string::npos, path + " is not listed");
        length += path.size() + 1;
    }
    expect(list.size() == length, "the list has more than the packages");
    expectContents(m_offer.updatePackages());
    // As an installation takes them.
    expect(std::filesystem::remove(packageListPath), "no list");
    expect(std::filesystem::remove(updateMarkerPath), "no marker");
    expect(std::filesystem::remove(updatedProdConfigXml), "no prepared configuration");
}

void Host::install(Fault fault) {
    installWithPollers(fault);
    release();
}

void Host::installAndStay() {
    installWithPollers(Fault::none);
}

void Host::installInVain() {
    expect(!m_engine.freshInstall(), "an installation after another one succeeded");
}

void Host::installWithPollers(Fault fault) {
    m_offer.installation(fault);
    static_cast<void>(m_engine.progress()); // the first call makes the engine and must be alone
    const Pollers pollers(m_engine, "Second.pkg");
    const bool began = m_engine.freshInstall();
    expect(began == (fault != Fault::refused && fault != Fault::serviceDown), "the wrong result");
    retry(fault);
}

// A fault passes after the first try, but for wrong bytes, which the engine gives up for good.
void Host::retry(Fault fault) {
    if (fault == Fault::wrongBytes) {
        m_engine.retry();
        const DownloadProgressInfo progress = m_engine.progress();
        expect(!progress.completed && !progress.resumable, "wrong bytes were taken");
        return;
    }
    if (fault != Fault::none && fault != Fault::cut) {
        expect(m_engine.progress().failed, "the failure is not told");
        m_offer.installation(Fault::none);
        m_engine.retry();
    }
    expectInstalled();
}

void Host::expectInstalled() const {
    const Contents &packages = m_offer.installationPackages();
    expect(m_engine.progress().completed, "not completed");
    expect(m_engine.packages().size() == packages.size(), "not all packages are named");
    for (const auto &[path, content] : packages)
        expect(!m_engine.expectedHash(path).empty(), "no hash is known for " + path);
    expectContents(packages);
}
