#include "engine/PackInstaller.hpp"

#include "engine/Transaction.hpp"
#include "platform/Digest.hpp"
#include "platform/Locations.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace fs = std::filesystem;

namespace engine {

PackInstaller::PackInstaller(const std::optional<fs::path>& givenHome, const fs::path& givenPayload,
                             bool registers, platform::System givenSystem)
    : system(std::move(givenSystem)), fm(system.files),
      home(fm.resolved(givenHome ? *givenHome : platform::homeFolder())), payload(fm.resolved(givenPayload)),
      register_(registers) {}

std::string PackInstaller::perform(bool uninstall, const Selection& selection) const {
    return Transaction(*this, uninstall, selection).perform();
}

std::vector<CatalogName> PackInstaller::catalog() const {
    const fs::path file = payload / "catalog.json";
    return decodeCatalog(fm.read(file), file);
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
    Manifest manifest = decodeManifest(fm.read(file), file);
    if (manifest.owner != owner) {
        throw InstallError("Manifeste inconnu : " + file.string());
    }
    return manifest;
}

bool PackInstaller::exists(const fs::path& path) const {
    return fm.exists(path);
}

void PackInstaller::mkdir(const fs::path& folder) const {
    fm.makeFolder(folder);
}

std::string PackInstaller::relative(const fs::path& path, const fs::path& base) const {
    const fs::path inside = fm.resolved(path);
    const fs::path outside = fm.resolved(base);
    const auto [rest, end] = std::mismatch(inside.begin(), inside.end(), outside.begin(), outside.end());
    if (end != outside.end()) {
        return "<outside>";
    }
    fs::path result;
    std::for_each(rest, inside.end(), [&](const fs::path& component) { result /= component; });
    return result.string();
}

std::string PackInstaller::hash(const fs::path& file) const {
    platform::Sha256 digest;
    fm.read(file, [&](std::string_view piece) { digest.update(piece); });
    return platform::hexadecimal(digest.finish());
}

void PackInstaller::process(const fs::path& tool, const std::vector<std::string>& arguments) const {
    const platform::ProcessResult result = system.run(tool, arguments);
    if (result.status != 0) {
        throw InstallError(result.output);
    }
}

} // namespace engine
