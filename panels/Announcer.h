#pragma once

#include <QWidget>

namespace quibel {

/// Has assistive tools say something while the keyboard stays where it is.
///
/// Nothing of it is to be seen. It says nothing while its panel is hidden.
///
/// Thread: main.
class Announcer : public QWidget
{
    Q_OBJECT

public:
    explicit Announcer(QWidget* panel);

    /// An empty text takes back what was said last.
    void announce(const QString& text);
};

} // namespace quibel
