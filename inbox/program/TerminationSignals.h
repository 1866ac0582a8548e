#pragma once

#include "inbox/http/Descriptor.h"

#include <QObject>

namespace quibel::inbox {

/// Turns SIGTERM and SIGINT into a Qt signal, so that the program can end in good order.
///
/// Thread: main, before any other thread is started: those must inherit the blocked signals.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();

Q_SIGNALS:
    void received();

private:
    Descriptor descriptor;
};

} // namespace quibel::inbox
