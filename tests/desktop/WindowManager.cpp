#include "tests/desktop/WindowManager.h"

#include <QFile>

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel::testing {

WindowManager::WindowManager(QString program, const QString& home)
    : name(std::move(program))
    , i3Settings(home + u"/i3"_s)
{
}

bool WindowManager::prepare() const
{
    // An empty file is enough: everything as it comes.
    return name != u"i3" || QFile(i3Settings).open(QIODevice::WriteOnly);
}

QStringList WindowManager::arguments() const
{
    return name == u"i3" ? QStringList { u"-c"_s, i3Settings } : QStringList();
}

QProcessEnvironment WindowManager::environment()
{
    QProcessEnvironment environment;
    environment.insert(u"KWIN_COMPOSE"_s, u"N"_s);
    return environment;
}

bool WindowManager::takesNumberOfDesktops() const
{
    return name != u"i3" && name != u"awesome";
}

} // namespace quibel::testing
