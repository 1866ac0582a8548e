#pragma once

#include <QWidget>

namespace quibel {

/// A panel, or a part of one, of which assistive tools see only what is shown.
///
/// To them, a panel is a dialog; it needs a title or an accessible name.
///
/// Thread: main.
class PanelPart : public QWidget
{
    Q_OBJECT

public:
    explicit PanelPart(QWidget* parent = nullptr, Qt::WindowFlags flags = {});

    /// Shows or hides a child of such a part, and tells assistive tools that it came or went.
    static void setShown(QWidget& child, bool shown);
};

} // namespace quibel
