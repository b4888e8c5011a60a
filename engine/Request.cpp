#include "engine/Request.hpp"

#include "engine/PackTitles.hpp"

#include <algorithm>

namespace engine {

bool Request::selected(const std::string& path) const {
    const std::string transition = transitionOf(path);
    if (selection.contains(transition) || retired.contains(transition)) {
        return true;
    }
    return std::ranges::any_of(renameTable, [&](const Rename& rename) {
        return rename.older == transition && selection.contains(std::string(rename.current));
    });
}

bool Request::allows(const std::string& path) const {
    const std::string transition = transitionOf(path);
    return isTemplateFile(path) &&
           (std::ranges::find(renameTable, transition, &Rename::older) != renameTable.end() ||
            titles.contains(transition));
}

Request makeRequest(const PackInstaller& installer, bool uninstall,
                    const PackInstaller::Selection& selection) {
    Request request{uninstall, {}, {}, {}};
    std::set<std::string> offered;
    for (const CatalogName& entry : installer.catalog()) {
        if (!isFolderName(entry.name)) {
            throw InstallError("Le catalogue contient un nom de transition invalide : « " + entry.name +
                               " »");
        }
        request.titles.insert(entry.name);
        (entry.retired.value_or(false) ? request.retired : offered).insert(entry.name);
    }
    request.selection = selection ? *selection : offered;
    if (request.selection.empty() || !std::ranges::includes(offered, request.selection)) {
        throw InstallError("Sélection de transitions invalide.");
    }
    return request;
}

} // namespace engine
