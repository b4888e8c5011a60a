#include "platform/Error.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

namespace platform {
namespace {

struct Reason {
    int number;
    std::string_view text;
};

constexpr std::array reasons{
    Reason{ENOENT, "ce fichier ou ce dossier n’existe pas"},
    Reason{EACCES, "l’accès est refusé"},
    Reason{EPERM, "l’opération n’est pas permise"},
    Reason{EEXIST, "un élément porte déjà ce nom"},
    Reason{ENOTEMPTY, "le dossier n’est pas vide"},
    Reason{ENOTDIR, "un élément du chemin n’est pas un dossier"},
    Reason{EISDIR, "c’est un dossier"},
    Reason{ENOSPC, "le disque est plein"},
    Reason{EDQUOT, "le quota de disque est atteint"},
    Reason{EFBIG, "le fichier est trop grand"},
    Reason{EROFS, "le disque est en lecture seule"},
    Reason{EIO, "le disque a signalé une erreur d’entrée-sortie"},
    Reason{EINTR, "l’opération a été interrompue"},
    Reason{EBUSY, "l’élément est utilisé"},
    Reason{ETXTBSY, "le programme est en cours d’exécution"},
    Reason{ELOOP, "un lien symbolique se trouve à cet endroit"},
    Reason{ENAMETOOLONG, "le nom est trop long"},
    Reason{EMFILE, "trop de fichiers sont ouverts"},
    Reason{ENFILE, "trop de fichiers sont ouverts"},
    Reason{ENOMEM, "la mémoire manque"},
    Reason{ENOEXEC, "ce n’est pas un programme"},
    Reason{ENXIO, "ce n’est pas un fichier"},
    Reason{ENOTSUP, "le disque ne le permet pas"},
    Reason{ENOLCK, "le disque ne permet pas de réserver un fichier"},
    Reason{ENODEV, "le périphérique n’est plus là"},
    Reason{ESTALE, "le disque réseau ne répond plus"},
    Reason{EXDEV, "les deux emplacements sont sur des disques différents"},
};

/// The beginning of every sentence; the attempt is a verb, before which French elides "de" at a vowel.
std::string impossible(std::string_view attempt) {
    constexpr std::array<std::string_view, 7> vowels{"a", "e", "i", "o", "u", "é", "ê"};
    const bool isElided = std::ranges::any_of(vowels, [&](auto vowel) { return attempt.starts_with(vowel); });
    return (isElided ? "Impossible d’" : "Impossible de ") + std::string(attempt);
}

} // namespace

std::string describe(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Error& error) {
        return error.what();
    } catch (const std::filesystem::filesystem_error& error) {
        return fileError("utiliser", error.path1(), error.code().value()).what();
    } catch (const std::system_error& error) {
        return "Le système a refusé une opération : " + reason(error.code().value()) + ".";
    } catch (const std::bad_alloc&) {
        return "La mémoire manque.";
    } catch (const std::exception& error) {
        return std::string("Une erreur inattendue s’est produite : ") + error.what() + ".";
    } catch (...) {
        return "Une erreur inattendue s’est produite.";
    }
}

std::string reason(int number) {
    for (const Reason& known : reasons) {
        if (known.number == number) {
            return std::string(known.text);
        }
    }
    return std::string("erreur ") + std::to_string(number) + " du système (" + std::strerror(number) + ")";
}

Error fileError(std::string_view attempt, const std::filesystem::path& path, int number) {
    return Error(impossible(attempt) + " « " + path.string() + " » : " + reason(number) + ".", number);
}

Error fileError(std::string_view attempt, const std::filesystem::path& path, std::string_view reason) {
    return Error(impossible(attempt) + " « " + path.string() + " » : " + std::string(reason) + ".");
}

Error fileError(std::string_view attempt, const std::filesystem::path& from, const std::filesystem::path& to,
                int number) {
    return Error(impossible(attempt) + " « " + from.string() + " » vers « " + to.string() +
                     " » : " + reason(number) + ".",
                 number);
}

} // namespace platform
