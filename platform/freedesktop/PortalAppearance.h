#pragma once

#include "platform/Appearance.h"

#include <QDBusVariant>

namespace quibel {

/// The appearance that the desktop's settings portal tells.
///
/// Waits for nobody: there is no preference until the portal has answered, in a later turn of the
/// event loop, and none without a portal. Only changes of this one setting wake the program.
///
/// Source: org.freedesktop.portal.Settings, version 1; namespace org.freedesktop.appearance.
class PortalAppearance final : public Appearance
{
    Q_OBJECT

public:
    PortalAppearance();

    [[nodiscard]] ColorScheme colorScheme() const override { return scheme; }

private:
    Q_SLOT void settingChanged(const QString& space, const QString& key, const QDBusVariant& value);
    void ask();
    void adopt(const QVariant& value);

    ColorScheme scheme = ColorScheme::noPreference;
};

} // namespace quibel
