#pragma once

#include "tests/desktop/VirtualDesktop.h"

#include <QCoreApplication>
#include <QTest>

#include <functional>
#include <type_traits>

namespace quibel::testing {

/// Starts a private desktop, completes it by `prepare`, enters it and runs `Test` there as an
/// application of the kind asked for; returns the exit code of the test program.
///
/// `Test` is given the desktop if it takes one.
template <typename Test, typename Application = QCoreApplication>
int runOnDesktop(int argc,
                 char* argv[], // NOLINT(modernize-avoid-c-arrays)
                 const VirtualDesktop::Options& options,
                 const std::function<bool(VirtualDesktop&)>& prepare = {})
{
    VirtualDesktop desktop(options);
    if (!desktop.start() || (prepare && !prepare(desktop)))
        return 1;
    desktop.enter();
    const Application application(argc, argv);
    if constexpr (std::is_constructible_v<Test, VirtualDesktop&>) {
        Test test(desktop);
        return QTest::qExec(&test, argc, argv);
    } else {
        Test test;
        return QTest::qExec(&test, argc, argv);
    }
}

} // namespace quibel::testing
