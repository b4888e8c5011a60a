#include "engine/Request.hpp"

#include <map>

namespace engine {

Request makeRequest(const PackInstaller& installer, bool uninstall,
                    const PackInstaller::Selection& selection) {
    Request request{uninstall, {}, {}, {}};
    std::set<std::string> all;
    std::map<std::string, std::string> offered; // composed, and as the catalogue spells it
    for (const CatalogName& entry : installer.catalog()) {
        if (!isFolderName(entry.name)) {
            throw InstallError("Le catalogue contient un nom de transition invalide : « " + entry.name +
                               " »");
        }
        const std::string title = platform::composed(entry.name);
        request.titles.insert(title);
        if (entry.retired.value_or(false)) {
            request.cleared.insert(title);
        } else {
            offered.emplace(title, entry.name);
            all.insert(entry.name);
        }
    }
    for (const std::string& name : selection.value_or(all)) {
        const auto found = offered.find(platform::composed(name));
        if (found == offered.end()) {
            throw InstallError("Sélection de transitions invalide.");
        }
        request.selection.insert(found->second);
        request.cleared.insert(found->first);
    }
    if (request.selection.empty()) {
        throw InstallError("Sélection de transitions invalide.");
    }
    for (const Rename& rename : renameTable) {
        request.titles.emplace(rename.older);
        if (request.selection.contains(std::string(rename.current))) {
            request.cleared.emplace(rename.older);
        }
    }
    return request;
}

} // namespace engine
