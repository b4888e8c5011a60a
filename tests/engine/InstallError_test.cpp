#include "engine/PackRecords.hpp"
#include "platform/Error.hpp"

#include <gtest/gtest.h>

#include <new>
#include <system_error>

namespace {

template <typename Failure>
std::string descriptionOf(const Failure& failure) {
    return engine::localizedDescription(std::make_exception_ptr(failure));
}

TEST(DescriptionTest, IsTheWholeMessageOfAnInstallError) {
    EXPECT_EQ(descriptionOf(engine::InstallError("Non : /a")), "Non : /a");
    const std::string message("avant\0après", 12);
    EXPECT_EQ(descriptionOf(engine::InstallError(message)), message);
}

TEST(DescriptionTest, IsWhatThePlatformSays) {
    EXPECT_EQ(descriptionOf(platform::fileError("lire", "/a", ENOENT)),
              "Impossible de lire « /a » : ce fichier ou ce dossier n’existe pas.");
}

TEST(DescriptionTest, IsFrenchForWhatTheStandardLibraryThrows) {
    EXPECT_EQ(descriptionOf(std::bad_alloc()), "La mémoire manque.");
    EXPECT_EQ(descriptionOf(std::bad_array_new_length()), "La mémoire manque.");
    EXPECT_EQ(descriptionOf(std::system_error(EMFILE, std::generic_category())),
              "Le système a refusé une opération : trop de fichiers sont ouverts.");
    EXPECT_EQ(descriptionOf(std::filesystem::filesystem_error(
                  "no", "/a", std::error_code(EACCES, std::generic_category()))),
              "Impossible d’utiliser « /a » : l’accès est refusé.");
    EXPECT_EQ(descriptionOf(std::length_error("text")), "Une erreur inattendue s’est produite : text.");
    EXPECT_EQ(descriptionOf(7), "Une erreur inattendue s’est produite.");
}

} // namespace
