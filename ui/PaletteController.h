#pragma once

#include "platform/Appearance.h"

#include <QObject>

namespace quibel {

/// Makes the application light or dark, as the desktop's appearance asks, also while it runs.
///
/// A theme that is so already keeps its own palette, as does any theme when nothing is asked.
///
/// Thread: main.
class PaletteController : public QObject
{
    Q_OBJECT

public:
    explicit PaletteController(Appearance& desktopAppearance);

private:
    void follow();

    Appearance& appearance;
};

} // namespace quibel
