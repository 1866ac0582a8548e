#pragma once

#include "platform/PanelWindows.h"
#include "tests/fakes/Journal.h"

#include <QRect>
#include <QStringList>
#include <QWindow>

#include <optional>

namespace quibel {

/// Does with a panel what an obliging window system would, and records it.
class FakePanelWindows final : public PanelWindows
{
public:
    [[nodiscard]] bool areTranslucent() const override { return translucent; }
    void setTranslucent(bool nowTranslucent)
    {
        translucent = nowTranslucent;
        Q_EMIT translucencyChanged();
    }

    void prepare(QWindow& window, PanelKind panelKind) override
    {
        calls << QStringLiteral("prepare");
        note(journal, QStringLiteral("prepare panel"));
        panel = &window;
        kind = panelKind;
    }

    void place(QWindow& window, QPoint topLeft) override
    {
        calls << QStringLiteral("place");
        origin = topLeft;
        window.setPosition(topLeft);
    }

    void setFrame(QWindow& /*window*/, const QRect& area) override { frame = area; }

    void makeKeyAndOrderFront(QWindow& window) override
    {
        calls << QStringLiteral("makeKeyAndOrderFront");
        window.show();
        window.raise();
        window.requestActivate();
    }

    void orderOut(QWindow& window) override
    {
        calls << QStringLiteral("orderOut");
        window.hide();
    }

    QStringList calls;        ///< Names of the operations, in order.
    QWindow* panel = nullptr; ///< As last prepared.
    std::optional<PanelKind> kind;
    std::optional<QPoint> origin; ///< As last placed.
    std::optional<QRect> frame;   ///< As last set.
    Journal* journal = nullptr;

private:
    bool translucent = false;
};

} // namespace quibel
