#pragma once

#include "tests/system/AgentSession.h"

#include <QImage>

namespace quibel::testing {

/// A window that shows a number which can be read from a picture of it.
class MarkedWindow : public EditorWindow
{
public:
    explicit MarkedWindow(const QString& title);

    /// Shows another number and another title; on the screen when this returns.
    void mark(int number, const QString& title);

    /// The highest number that a picture of a window, or of the whole screen, shows. None when it
    /// shows no such window.
    [[nodiscard]] static std::optional<int> readMark(const QImage& picture);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int shown = 0;
};

} // namespace quibel::testing
