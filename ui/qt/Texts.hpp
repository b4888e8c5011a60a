#pragma once

/// What only this toolkit has to say.
namespace ui::qt::texts {

inline constexpr auto noDisplay = "La fenêtre ne peut pas s’ouvrir : aucun affichage n’est disponible.";
inline constexpr auto noModule = "La fenêtre ne peut pas s’ouvrir : ";
inline constexpr auto windowlessOptions =
    "Sans fenêtre, utilisez l’option « --install » pour installer ou « --uninstall » pour désinstaller.";

inline constexpr auto copy = "Copier";
inline constexpr auto selectAll = "Tout sélectionner";

// For screen readers
inline constexpr auto iconDescription = "Icône d’Orvo Transitions";
inline constexpr auto spinnerDescription = "Opération en cours";
inline constexpr auto menuBarDescription = "Barre des menus";

} // namespace ui::qt::texts
