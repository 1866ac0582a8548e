#pragma once

#include <QColor>
#include <QObject>

#include <functional>
#include <optional>

namespace quibel {

/// By what a status item gets into the area.
enum class StatusAreaKind {
    none,           ///< There is no area.
    statusNotifier, ///< It is described to a host on the session bus.
    embedding,      ///< The area takes in a window of the item.
};

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

    /// Calls `completion` once, in a later turn of the event loop, with what is there now; never
    /// after the area object is gone.
    virtual void identify(std::function<void(StatusAreaKind)> completion) = 0;

    /// The colour in which the area draws symbolic icons; none when it does not say.
    [[nodiscard]] virtual std::optional<QColor> foreground() const = 0;

    /// Whether the area takes icons by name and gives symbolic ones its own colour.
    [[nodiscard]] virtual bool colorsThemedIcons() const = 0;

Q_SIGNALS:
    void appeared();
    void foregroundChanged();
};

} // namespace quibel
