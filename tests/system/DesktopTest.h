#pragma once

#include "tests/desktop/VirtualDesktop.h"

#include <QApplication>
#include <QTest>

#include <functional>

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

/// Starts a private desktop, completes it by `prepare`, enters it and runs `Test` there as an
/// application; returns the exit code of the test program.
template <typename Test>
int runOnDesktop(int argc,
                 char* argv[], // NOLINT(modernize-avoid-c-arrays)
                 const VirtualDesktop::Options& options,
                 const std::function<bool(VirtualDesktop&)>& prepare = {})
{
    VirtualDesktop desktop(options);
    if (!desktop.start() || (prepare && !prepare(desktop)))
        return 1;
    desktop.enter();
    const QApplication application(argc, argv);
    Test test(desktop);
    return QTest::qExec(&test, argc, argv);
}

} // namespace quibel::testing
