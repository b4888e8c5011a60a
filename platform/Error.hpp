#pragma once

#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace platform {

/// A failure of the system, or of a library that works for it. `what()` is the localised description: one
/// French sentence that says what was attempted, on which full path, and why.
class Error : public std::runtime_error {
public:
    explicit Error(const std::string& description, int number = 0)
        : std::runtime_error(description), errorNumber(number) {}

    /// The number of errno.h behind the failure; 0 when there is none.
    int number() const noexcept { return errorNumber; }

private:
    int errorNumber;
};

/// The French text that the user reads of any failure; of an Error its own.
std::string describe(const std::exception_ptr& failure);

/// The French reason for a number of errno.h, without a final full stop ("ce fichier n’existe pas").
std::string reason(int number);

/// The error "Impossible de ATTEMPT « PATH » : REASON.", for instance with the attempt "lire"; "Impossible
/// d’ATTEMPT …" before a vowel.
Error fileError(std::string_view attempt, const std::filesystem::path& path, int number);

/// The same with a reason of its own.
Error fileError(std::string_view attempt, const std::filesystem::path& path, std::string_view reason);

/// The error "Impossible de ATTEMPT « FROM » vers « TO » : REASON.".
Error fileError(std::string_view attempt, const std::filesystem::path& from, const std::filesystem::path& to,
                int number);

} // namespace platform
