#include "ui/PaletteController.h"

#include <QApplication>
#include <QPalette>

namespace quibel {

namespace {

constexpr QColor nearlyWhite { 0xef, 0xef, 0xef };
constexpr QColor nearlyBlack { 0x2b, 0x2b, 0x2b };

QPalette lightPalette()
{
    return { nearlyWhite };
}

QPalette darkPalette()
{
    QPalette palette(QColor(0x3c, 0x3c, 0x3c), nearlyBlack);
    palette.setColor(QPalette::Base, QColor(0x1e, 0x1e, 0x1e));
    palette.setColor(QPalette::AlternateBase, nearlyBlack);
    palette.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x7d, 0xb1, 0xff));
    return palette;
}

bool isDark(const QPalette& palette)
{
    return palette.color(QPalette::Window).lightness()
        < palette.color(QPalette::WindowText).lightness();
}

} // namespace

PaletteController::PaletteController(Appearance& desktopAppearance)
    : appearance(desktopAppearance)
{
    connect(&appearance, &Appearance::colorSchemeChanged, this, &PaletteController::follow);
    if (appearance.colorScheme() != ColorScheme::noPreference)
        follow();
}

void PaletteController::follow()
{
    QApplication::setPalette(QPalette());
    const ColorScheme wanted = appearance.colorScheme();
    const bool themeIsDark = isDark(QApplication::palette());
    if (wanted == ColorScheme::dark && !themeIsDark)
        QApplication::setPalette(darkPalette());
    else if (wanted == ColorScheme::light && themeIsDark)
        QApplication::setPalette(lightPalette());
}

} // namespace quibel
