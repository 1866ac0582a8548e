#pragma once

#include "platform/Preferences.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace quibel {

/// The last branch that could not be sent, kept in memory and, across restarts, in the preferences.
///
/// Only the latest one is kept; a new failure replaces the old one.
class KeptCapture
{
public:
    explicit KeptCapture(Preferences& store);

    void loadLastFailedCapture();

    /// Keeps `document`; it is on disk when this returns.
    void storeFailedCapture(const QByteArray& document);

    void clearLastFailedCapture();

    /// The same, but only if `earlier` is still what is kept: another branch may have failed and
    /// taken its place.
    void clearLastFailedCapture(const std::optional<QByteArray>& earlier);

    /// Whether this press of the hot key is to be spent on sending the kept branch again. True once
    /// for each failure.
    [[nodiscard]] bool interceptHotkey();

    [[nodiscard]] const std::optional<QByteArray>& payload() const { return lastFailedPayload; }
    [[nodiscard]] bool failed() const { return lastCaptureFailed; }

private:
    Preferences& preferences;
    const QString lastFailedCaptureKey = QStringLiteral("quibel.lastFailedCapture");
    std::optional<QByteArray> lastFailedPayload;
    bool lastCaptureFailed = false;
    bool shouldInterceptNextHotkey = false;
};

} // namespace quibel
