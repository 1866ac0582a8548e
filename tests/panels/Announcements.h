#pragma once

#include "panels/Announcer.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QStringList>

namespace quibel::testing {

/// Hears what announcers say from now on: the names under which they appear.
class Announcements : public QObject
{
public:
    Announcements() { QCoreApplication::instance()->installEventFilter(this); }

    [[nodiscard]] QStringList heard() const { return texts; }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show)
            if (const auto* announcer = qobject_cast<Announcer*>(watched))
                texts << announcer->accessibleName();
        return false;
    }

private:
    QStringList texts;
};

} // namespace quibel::testing
