#pragma once

#include <QColor>
#include <QObject>

#include <optional>

namespace quibel {

/// The place on the desktop where status items are shown (menu bar, tray). It may come late, after
/// this program, and go and come again.
///
/// Thread: main.
class StatusArea : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Whether a status item would be shown now.
    [[nodiscard]] virtual bool isPresent() const = 0;

    /// The colour in which the area draws symbolic icons; none when it does not say.
    [[nodiscard]] virtual std::optional<QColor> foreground() const = 0;

Q_SIGNALS:
    void appeared();
    void foregroundChanged();
};

} // namespace quibel
