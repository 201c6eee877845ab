#include "BundleCommand.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Archive.h"
#include "BundleFacts.h"
#include "BundleSources.h"
#include "Check.h"
#include "Descriptor.h"
#include "Interrupts.h"
#include "Paper.h"
#include "Paths.h"
#include "RegularFile.h"
#include "TemporaryFolder.h"
#include "UpdateLog.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t hanging = 6;

[[noreturn]] void fail(const fs::path &path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

// Before anything is looked at.
void expectUsable(const BundleOptions &options) {
    const std::string ending = ".tar.gz";
    const std::string name = options.file.filename().string();
    if (name.size() <= ending.size() || name.compare(name.size() - ending.size(), ending.size(), ending) != 0)
        throw std::runtime_error(options.file.string() + ": expected a name that ends in " + ending);
    if (!options.force && !isAbsent(options.file.string()))
        throw std::runtime_error(options.file.string() + ": is there already; --force replaces it");
}

// The check first: it starts processes, beside which no thread may be.
BundleContent bundleContent() {
    std::optional<std::string> findings;
    std::optional<MissingFile> missing;
    try {
        findings = checkFindingsInJson(findingsOfMachine(false));
    } catch (const std::exception &error) {
        missing = MissingFile{bundleCheckName, error.what()};
    }
    BundleContent content = bundleSources();
    content.findings = std::move(findings);
    if (missing)
        content.missing.push_back(std::move(*missing));
    return content;
}

// Files for whose sake something could stay unmasked, or be lost, are left out.
template <typename IsBad>
void leaveOut(BundleContent &content, const IsBad &isBad, const std::string &why) {
    const auto taken = std::stable_partition(content.files.begin(), content.files.end(),
                                             [&isBad](const BundledFile &file) { return !isBad(file); });
    for (auto file = taken; file != content.files.end(); ++file)
        content.missing.push_back({file->path, why});
    content.files.erase(taken, content.files.end());
}

// What has characters of two bytes has names and values that nobody finds. The log is lines whatever is in
// it.
bool isNoPlainText(const BundledFile &file) {
    return file.path != traceLogPath && file.content.find('\0') != std::string::npos;
}

// The engine's own folders tell nobody's secret, whatever word is one.
std::string maskedPath(const BundleMask &mask, const std::string &path, MaskCount &count) {
    const std::size_t name = path.rfind('/');
    if (name == std::string::npos)
        return path;
    return path.substr(0, name) + mask.masked(path.substr(name), count);
}

void maskAll(BundleContent &content) {
    leaveOut(content, isNoPlainText, "no plain text, in which values could be masked; --unmasked takes it");
    BundleMask mask;
    for (const BundledFile &file : content.files) {
        mask.learn(file.content);
        mask.learn(file.path);
    }
    for (BundledFile &file : content.files) {
        file.content = mask.masked(file.content, file.masked);
        file.path = maskedPath(mask, file.path, file.masked);
    }
    MaskCount uncounted;
    if (content.findings)
        content.findings = mask.masked(*content.findings, uncounted);
    for (MissingFile &file : content.missing) {
        file.path = maskedPath(mask, file.path, uncounted);
        file.why = mask.masked(file.why, uncounted);
    }
    std::set<std::string> paths;
    leaveOut(
        content, [&paths](const BundledFile &file) { return !paths.insert(file.path).second; },
        "another file has that name once it is masked");
}

std::string sizeOf(const BundledFile &file) {
    std::string text = std::to_string(file.bytes) + " bytes";
    if (file.isEndOnly)
        text += ", of which the newest " + std::to_string(file.content.size()) + " are taken";
    if (file.masked.all() > 0)
        text += ", " + std::to_string(file.masked.all()) + " masked";
    return text;
}

std::string toldMask(const BundleContent &content) {
    MaskCount all;
    for (const BundledFile &file : content.files) {
        all.affiliates += file.masked.affiliates;
        all.licences += file.masked.licences;
    }
    return "Masked places: " + std::to_string(all.affiliates) + " with an affiliate value, " +
           std::to_string(all.licences) + " with a licence value.";
}

void tell(const BundleContent &content, const BundleOptions &options, Paper &paper) {
    paper.line("What goes into " + options.file.string() + ":");
    for (const BundledFile &file : content.files)
        paper.line("  " + file.path + "  " + sizeOf(file), hanging);
    paper.line("  " + bundleManifestName + "  versions of engine and system, markers, this list", hanging);
    if (content.findings)
        paper.line("  " + bundleCheckName + "  what a check of this machine finds", hanging);
    for (const MissingFile &file : content.missing)
        paper.line("  without " + file.path + ": " + file.why, hanging);
    paper.line(options.unmasked ? "Nothing is masked: affiliate and licence values are in it."
                                : toldMask(content));
}

ArchivedFiles archived(BundleContent content, bool isUnmasked) {
    ArchivedFiles files{{bundleManifestName, bundleManifest(content, !isUnmasked)}};
    if (content.findings)
        files.emplace(bundleCheckName, std::move(*content.findings));
    for (BundledFile &file : content.files)
        files.emplace(bundledFilesFolder + file.path, std::move(file.content));
    return files;
}

void writeWhole(const fs::path &path, const std::string &bytes) {
    Descriptor file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file)
        fail(path);
    for (std::size_t written = 0; written < bytes.size();) {
        const ssize_t count = ::write(file.number(), bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno != EINTR)
            fail(path);
        written += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    if (fsync(file.number()) != 0 || !file.close())
        fail(path);
}

// Under its name it appears at once. A file system without second names for files has it looked for once
// more, and a file that came meanwhile is replaced there.
void giveName(const fs::path &made, const BundleOptions &options) {
    if (options.force)
        return fs::rename(made, options.file);
    if (link(made.c_str(), options.file.c_str()) == 0)
        return;
    const bool hasNoLinks = errno == EPERM || errno == ENOTSUP || errno == ENOSYS;
    if (!hasNoLinks)
        fail(options.file);
    expectUsable(options);
    fs::rename(made, options.file);
}

void write(const std::string &bytes, const BundleOptions &options) {
    const TemporaryFolder temporary(fs::absolute(options.file).parent_path(), ".updatelog-");
    const fs::path made = temporary.path() / "bundle";
    writeWhole(made, bytes);
    giveName(made, options);
}

} // namespace

int runBundle(const BundleOptions &options) {
    expectUsable(options);
    BundleContent content = bundleContent();
    if (!options.unmasked)
        maskAll(content);
    const Interrupts interrupts;
    Paper paper;
    tell(content, options, paper);
    paper.finish();
    const std::string bytes =
        archiveOf(archived(std::move(content), options.unmasked), Compression::gzip, S_IRUSR | S_IWUSR);
    write(bytes, options);
    paper.line("Written: " + options.file.string() + ", " + std::to_string(bytes.size()) + " bytes");
    paper.finish();
    return Statuses::well;
}

void addBundleCommand(CLI::App &app, std::function<int()> &command) {
    const auto options = std::make_shared<BundleOptions>();
    CLI::App *const bundle =
        app.add_subcommand("bundle", "Puts what support asks for into one file, and changes nothing else");
    bundle->add_option("FILE", options->file, "The file to make: NAME.tar.gz")->required();
    bundle->add_flag("--unmasked", options->unmasked, "Leave affiliate and licence values as they are");
    bundle->add_flag("--force", options->force, "Replace a file that is there already");
    bundle->footer(
        "Holds the log, the configurations, the package list, the installer script, the catalogs that "
        "are still there, and the versions of engine and system. What it holds is told first.\n\n"
        "Example:\n  $ updatelog bundle /tmp/update.tar.gz\n\n"
        "Exit status:\n"
        "  0  it is written\n"
        "  2  it is not\n");
    bundle->callback([options, &command] { command = [options] { return runBundle(*options); }; });
}
