#pragma once

#include "tests/desktop/RunOnDesktop.h"

#include <QApplication>

namespace quibel::testing {

/// A test class that runs on a private desktop.
class DesktopTest : public QObject
{
public:
    explicit DesktopTest(VirtualDesktop& privateDesktop)
        : desktop(privateDesktop)
    {
    }

protected:
    VirtualDesktop& desktop;
};

} // namespace quibel::testing
