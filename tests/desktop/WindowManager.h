#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace quibel::testing {

/// How a window manager is started as its users have it, on a desktop without a graphics card.
///
/// Those that tests run under: openbox, xfwm4, kwin_x11, icewm, and the tiling i3 and awesome.
class WindowManager
{
public:
    WindowManager(QString program, const QString& home);

    /// Writes the settings without which it would ask the user for some.
    ///
    /// Errors: false when they cannot be written.
    [[nodiscard]] bool prepare() const;
    [[nodiscard]] const QString& program() const { return name; }
    [[nodiscard]] QStringList arguments() const;
    [[nodiscard]] static QProcessEnvironment environment();

    /// Whether pagers may set the number of desktops.
    [[nodiscard]] bool takesNumberOfDesktops() const;

private:
    QString name;
    QString i3Settings;
};

} // namespace quibel::testing
