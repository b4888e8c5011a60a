#include "engine/PackInstaller.hpp"

#include "engine/Recovery.hpp"
#include "engine/Transaction.hpp"
#include "platform/Error.hpp"
#include "platform/FileLock.hpp"
#include "platform/Locations.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace fs = std::filesystem;

namespace engine {
namespace {

void refuseRunningEditor(const PackInstaller& installer) {
    const auto isEditor = [](const std::string& identifier) {
        return identifier.starts_with("com.apple.FinalCut") || identifier == "com.apple.motionapp";
    };
    if (installer.register_ && std::ranges::any_of(installer.system.runningApplications(), isEditor)) {
        throw InstallError("Fermez Final Cut Pro et Motion, puis réessayez.");
    }
}

/// Another run must not change what this one is reading. A home that does not exist yet, and one on a disk
/// that locks no folders, cannot be locked: there the journal keeps the runs apart once they change
/// something.
std::optional<platform::FileLock> lockHome(const fs::path& home) {
    try {
        return platform::FileLock::lock(home);
    } catch (const platform::Error& error) {
        if (error.number() == EWOULDBLOCK) {
            throw concurrentRun();
        }
        return std::nullopt;
    }
}

void carryOut(Transaction& transaction) {
    try {
        transaction.begin();
        transaction.apply();
        transaction.commit();
    } catch (const ConcurrentRunError&) {
        throw;
    } catch (const std::exception&) {
        if (transaction.isCommitted()) {
            throw;
        }
        throw transaction.rollBack(std::current_exception());
    }
}

} // namespace

PackInstaller::PackInstaller(const std::optional<fs::path>& givenHome, const fs::path& givenPayload,
                             bool registers, platform::System givenSystem)
    : system(std::move(givenSystem)), fm(system.files),
      home(fm.resolved(givenHome ? *givenHome : platform::homeFolder())), payload(fm.resolved(givenPayload)),
      register_(registers) {}

std::string PackInstaller::perform(bool uninstall, const Selection& selection) const {
    refuseRunningEditor(*this);
    const Request request = makeRequest(*this, uninstall, selection);
    const PackPaths paths(*this);
    const std::optional<platform::FileLock> lock = lockHome(home);
    const std::string undone = undoInterruptedRun(*this, paths);
    try {
        Plan plan = makePlan(*this, paths, request);
        std::string text = undone + plan.summary; // nothing may fail after the commit
        Transaction transaction(*this, paths, plan);
        carryOut(transaction);
        return text;
    } catch (const std::exception&) {
        if (undone.empty()) {
            throw;
        }
        throw InstallError(undone + localizedDescription(std::current_exception()));
    }
}

std::vector<CatalogName> PackInstaller::catalog() const {
    const fs::path file = payload / "catalog.json";
    return decodeCatalog(fm.read(file, largestRecord), file);
}

std::vector<std::string> PackInstaller::names() const {
    std::vector<std::string> offered;
    for (const CatalogName& entry : catalog()) {
        if (!entry.retired.value_or(false)) {
            offered.push_back(entry.name);
        }
    }
    return offered;
}

Manifest PackInstaller::ready(const fs::path& file) const {
    if (!exists(file)) {
        return {owner, {}};
    }
    Manifest manifest = decodeManifest(fm.read(file, largestRecord), file);
    if (manifest.owner != owner) {
        throw InstallError("Manifeste inconnu : " + file.string());
    }
    return manifest;
}

std::string PackInstaller::relative(const fs::path& path, const fs::path& base) const {
    const fs::path below = fm.resolved(path).lexically_relative(fm.resolved(base));
    if (below.empty() || *below.begin() == "..") {
        return "<outside>";
    }
    return below == "." ? "" : below.string();
}

void PackInstaller::process(const fs::path& tool, const std::vector<std::string>& arguments) const {
    const platform::ProcessResult result = system.run(tool, arguments);
    if (result.status != 0) {
        throw InstallError(result.output);
    }
}

} // namespace engine
