#pragma once

#include <QObject>

namespace quibel {

enum class ColorScheme {
    noPreference, ///< Also when the desktop does not say.
    dark,
    light,
};

/// How the user wants the whole desktop to look.
///
/// Thread: main.
class Appearance : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    [[nodiscard]] virtual ColorScheme colorScheme() const = 0;

Q_SIGNALS:
    void colorSchemeChanged();
};

} // namespace quibel
