#pragma once

/// What the window says, beyond the texts that are in the table of controls.
namespace ui::texts {

// Menus
inline constexpr auto aboutItem = "À propos de Orvo Transitions";
inline constexpr auto quitItem = "Quitter Orvo Transitions";
inline constexpr auto optionsTitle = "Options";
inline constexpr auto customizeItem = "Choisir les transitions…";
inline constexpr auto uninstallItem = "Désinstaller la sélection…";

// About
inline constexpr auto aboutMessage = "Orvo Transitions 2.3";
inline constexpr auto aboutInformative = "11 transitions natives pour Final Cut Pro.\n"
                                         "Version signée localement, non notarisée.";

// A run in progress
inline constexpr auto installing = "Installation…";
inline constexpr auto uninstalling = "Désinstallation…";
inline constexpr auto runningSubtitle = "Cela ne prend que quelques instants.";

// Success
inline constexpr auto installed = "C’est installé.";
inline constexpr auto uninstalled = "C’est désinstallé.";
inline constexpr auto installedSubtitle = "Retrouvez vos transitions dans Final Cut Pro.";
inline constexpr auto uninstalledSubtitle = "Vous pouvez fermer cette fenêtre.";
inline constexpr auto installedStatus = "Transitions → Orvo Transitions";
inline constexpr auto successSymbol = "checkmark.circle.fill";
inline constexpr auto successDescription = "Opération réussie";
inline constexpr auto finishTitle = "Terminer";

// Failure
inline constexpr auto failed = "À vérifier";
inline constexpr auto failedSubtitle = "L’installation n’a pas pu se terminer.";
inline constexpr auto failedStatus = "Consultez le détail, puis réessayez.";
inline constexpr auto retryTitle = "Réessayer";
inline constexpr auto failureMessage = "Installation interrompue";
inline constexpr auto ok = "OK";

// Chooser and confirmation
inline constexpr auto chooserMessage = "Vos transitions";
inline constexpr auto chooserConfirm = "Valider";
inline constexpr auto cancel = "Annuler";
inline constexpr auto selectedSuffix = " transitions sélectionnées";
inline constexpr auto confirmationMessage = "Retirer les transitions sélectionnées ?";
inline constexpr auto confirmationInformative = "Les autres effets sont conservés.";
inline constexpr auto confirmationConfirm = "Désinstaller";

} // namespace ui::texts
