#pragma once

#include "platform/Appearance.h"

namespace quibel {

/// A desktop that looks as the test says.
class FakeAppearance final : public Appearance
{
public:
    [[nodiscard]] ColorScheme colorScheme() const override { return scheme; }

    void setColorScheme(ColorScheme wanted)
    {
        scheme = wanted;
        Q_EMIT colorSchemeChanged();
    }

private:
    ColorScheme scheme = ColorScheme::noPreference;
};

} // namespace quibel
