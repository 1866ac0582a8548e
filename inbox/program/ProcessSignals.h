#pragma once

#include "inbox/http/Descriptor.h"

#include <QObject>

namespace quibel::inbox {

/// Turns the signals by which a service is told something into Qt signals.
///
/// Thread: main, before any other thread is started: those must inherit the blocked signals.
class ProcessSignals : public QObject
{
    Q_OBJECT

public:
    ProcessSignals();

Q_SIGNALS:
    /// SIGTERM or SIGINT: end in good order.
    void endRequested();
    /// SIGHUP: read files again.
    void reloadRequested();

private:
    Descriptor descriptor;
};

} // namespace quibel::inbox
