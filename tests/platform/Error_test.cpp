#include "platform/Error.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(ErrorTest, SaysWhatWasAttemptedWhereAndWhy) {
    EXPECT_STREQ(platform::fileError("lire", "/a b", ENOENT).what(),
                 "Impossible de lire « /a b » : ce fichier ou ce dossier n’existe pas.");
    EXPECT_EQ(platform::fileError("lire", "/a b", ENOENT).number(), ENOENT);
    EXPECT_STREQ(platform::fileError("déplacer", "/a", "/b", ENOSPC).what(),
                 "Impossible de déplacer « /a » vers « /b » : le disque est plein.");
}

TEST(ErrorTest, ElidesBeforeAVowel) {
    EXPECT_STREQ(platform::fileError("écrire", "/a", ENOSPC).what(),
                 "Impossible d’écrire « /a » : le disque est plein.");
    EXPECT_STREQ(platform::fileError("enregistrer sur le disque", "/a", "non").what(),
                 "Impossible d’enregistrer sur le disque « /a » : non.");
}

TEST(ErrorTest, NamesTheNumberOfAReasonThatItDoesNotKnow) {
    EXPECT_EQ(platform::reason(ECHILD).find("erreur " + std::to_string(ECHILD) + " du système ("), 0U);
}

} // namespace
