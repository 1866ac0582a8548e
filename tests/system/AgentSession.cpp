#include "tests/system/AgentSession.h"

#include "tests/platform/ClientWindow.h"
#include "tests/system/AgentRun.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPainter>
#include <QTest>

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int panelWidth = 484;
constexpr int panelShadow = 24;
constexpr int largestIcon = 64;
constexpr QSize unusedPanelSize(320, 60);
constexpr int patienceMs = 20'000;

template <typename Condition>
bool waitUntil(Condition condition)
{
    return QTest::qWaitFor(condition, patienceMs);
}

} // namespace

EditorWindow::EditorWindow(const QString& title)
    : field(this)
{
    setWindowTitle(title);
    resize(400, 300);
    field.setGeometry(20, 20, 360, 30);
}

bool EditorWindow::bringToFront()
{
    show();
    return bringToFrontAsItIs();
}

bool EditorWindow::bringToFrontAsItIs()
{
    raise();
    activateWindow();
    field.setFocus();
    const auto hasKeyboard = [this] { return isActiveWindow() && field.hasFocus(); };
    // The window manager may still be at raising it, or at giving it the keyboard once more.
    return waitUntil(hasKeyboard) && settleWindowManager() && waitUntil(hasKeyboard);
}

void EditorWindow::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    for (int y = 0; y < height(); y += 10)
        for (int x = 0; x < width(); x += 10)
            painter.fillRect(x, y, 10, 10, QColor((x * 7) % 256, (y * 5) % 256, (x + y) % 256));
}

AgentSession::AgentSession(VirtualDesktop& where)
    : desktop(where)
{
    service.answer(
        "/api/projects",
        Answer::json(200, R"([{"id":"p1","name":"Atlas"},{"id":"p2","name":"Beacon"}])"));
    service.answer("/api/branches/from-agent", Answer::json(201, R"({"branch":{"id":"b1"}})"));
    service.answer("/api/branches/b1/screenshots", Answer::json(201, "{}"));
    QFile::remove(preferencesFile());
    forgetKey();
}

AgentSession::~AgentSession()
{
    if (!isRunning())
        return;
    agent->terminate();
    if (!agent->waitForFinished(patienceMs) || agent->exitStatus() != QProcess::NormalExit
        || agent->exitCode() != 0)
        QTest::qFail(
            ("the agent did not end well: " + standardError + agent->readAllStandardError())
                .constData(),
            __FILE__,
            __LINE__);
}

bool AgentSession::storeKey(const QByteArray& key) const
{
    return desktop
        .output(u"secret-tool"_s,
                { u"store"_s,
                  u"--label=QuibelDesktop"_s,
                  u"service"_s,
                  u"QuibelDesktop"_s,
                  u"account"_s,
                  u"apiKey"_s },
                key)
        .has_value();
}

std::optional<QByteArray> AgentSession::storedKey() const
{
    return desktop.output(
        u"secret-tool"_s,
        { u"lookup"_s, u"service"_s, u"QuibelDesktop"_s, u"account"_s, u"apiKey"_s });
}

void AgentSession::forgetKey()
{
    static_cast<void>(desktop.output(
        u"secret-tool"_s,
        { u"clear"_s, u"service"_s, u"QuibelDesktop"_s, u"account"_s, u"apiKey"_s }));
}

bool AgentSession::launch(const QProcessEnvironment& extra,
                          const QStringList& arguments,
                          const std::function<void(QProcess&)>& prepare)
{
    agent = std::make_unique<QProcess>();
    QProcessEnvironment surroundings = desktop.environment();
    surroundings.insert(u"QUIBEL_API_BASE_URL"_s, service.url().toString());
    surroundings.insert(extra);
    agent->setProcessEnvironment(surroundings);
    QObject::connect(agent.get(), &QProcess::readyReadStandardOutput, agent.get(), [this] {
        standardOutput += agent->readAllStandardOutput();
    });
    QObject::connect(agent.get(), &QProcess::readyReadStandardError, agent.get(), [this] {
        standardError += agent->readAllStandardError();
    });
    if (prepare)
        prepare(*agent);
    agent->start(AgentRun::program(), arguments);
    // The panel's window is made last, after the hot key is grabbed.
    return waitUntil([this] {
        return std::ranges::any_of(windows({}), [this](const Window& window) {
            return window.geometry.size() == (QSizeF(unusedPanelSize) * startScale).toSize()
                || window.geometry.width() == qRound(panelWidth * startScale);
        });
    });
}

bool AgentSession::launchConnected()
{
    return storeKey() && launch()
        && waitUntil([this] { return output().contains("Loaded 2 projects from API\n"); });
}

void AgentSession::kill()
{
    agent->kill();
    agent->waitForFinished(patienceMs);
}

void AgentSession::signal(int number) const
{
    ::kill(processId(), number);
}

void AgentSession::stopReading()
{
    agent->closeReadChannel(QProcess::StandardOutput);
    agent->closeReadChannel(QProcess::StandardError);
}

void AgentSession::press(const QString& keys) const
{
    xdotool({ u"key"_s, keys });
}

void AgentSession::type(const QString& text) const
{
    xdotool({ u"type"_s, u"--delay"_s, u"1"_s, u"--file"_s, u"-"_s }, text.toUtf8());
}

void AgentSession::xdotool(const QStringList& arguments, const QByteArray& input) const
{
    QProcess process;
    process.setProcessEnvironment(desktop.environment());
    process.start(u"xdotool"_s, arguments);
    process.write(input);
    process.closeWriteChannel();
    // In the event loop: what the keys uncover of this process's windows is drawn meanwhile.
    static_cast<void>(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
}

std::vector<AgentSession::Window> AgentSession::visibleWindows() const
{
    return windows({ u"--onlyvisible"_s });
}

std::vector<AgentSession::Window> AgentSession::windows(const QStringList& restriction) const
{
    std::vector<Window> found;
    const auto listed
        = desktop.output(u"xdotool"_s,
                         QStringList { u"search"_s } + restriction
                             + QStringList { u"--class"_s, u"quibel-capture-agent"_s });
    const auto ids = listed.value_or(QByteArray()).split('\n');
    for (const QByteArray& id : ids) {
        const auto geometry = desktop.output(
            u"xdotool"_s, { u"getwindowgeometry"_s, u"--shell"_s, QString::fromLatin1(id) });
        if (id.isEmpty() || !geometry)
            continue;
        QHash<QByteArray, int> values;
        const auto lines = geometry->split('\n');
        for (const QByteArray& line : lines)
            values.insert(line.split('=').first(), line.split('=').last().toInt());
        found.push_back({ .id = id.toULongLong(),
                          .geometry = { values.value("X"),
                                        values.value("Y"),
                                        values.value("WIDTH"),
                                        values.value("HEIGHT") } });
    }
    return found;
}

std::optional<AgentSession::Window> AgentSession::panel() const
{
    const int width = qRound(panelWidth * panelScale);
    const int shadow = qRound(panelShadow * panelScale);
    for (const Window& window : visibleWindows()) {
        const QRect inner = window.geometry.adjusted(shadow, shadow, -shadow, -shadow);
        if (window.geometry.width() == width)
            return window;
        if (inner.width() == width)
            return Window { .id = window.id, .geometry = inner };
    }
    return std::nullopt;
}

std::optional<AgentSession::Window> AgentSession::trayIcon() const
{
    for (const Window& window : visibleWindows())
        if (window.geometry.width() <= largestIcon)
            return window;
    return std::nullopt;
}

bool AgentSession::panelHasKeyboard() const
{
    const auto shown = panel();
    const auto focus = desktop.output(u"xdotool"_s, { u"getwindowfocus"_s });
    return shown && focus && focus->trimmed().toULongLong() == shown->id;
}

std::optional<AgentSession::Window> AgentSession::menu() const
{
    for (const Window& window : visibleWindows())
        if (window.geometry.width() > largestIcon
            && window.geometry.width() != qRound(panelWidth * panelScale))
            return window;
    return std::nullopt;
}

bool AgentSession::openMenu() const
{
    std::optional<Window> icon;
    if (!waitUntil([&] { return (icon = trayIcon()).has_value(); })) {
        qWarning("there is no icon in the tray");
        return false;
    }
    // Not at its place on the screen: the tray moves the icons as they come and go.
    const QPoint centre = QRect(QPoint(0, 0), icon->geometry.size()).center();
    const auto clicked = desktop.output(u"xdotool"_s,
                                        { u"mousemove"_s,
                                          u"--window"_s,
                                          QString::number(icon->id),
                                          QString::number(centre.x()),
                                          QString::number(centre.y()),
                                          u"click"_s,
                                          u"1"_s });
    if (!clicked || !waitUntil([this] { return menu().has_value(); })) {
        qWarning() << "no menu after a click on the icon at" << icon->geometry << "; the pointer is"
                   << desktop.output(u"xdotool"_s, { u"getmouselocation"_s }).value_or("lost");
        for (const Window& window : visibleWindows())
            qWarning() << "there is the window" << window.id << "at" << window.geometry;
        return false;
    }
    return true;
}

bool AgentSession::chooseInMenu(MenuItem item) const
{
    if (!openMenu())
        return false;
    for (int step = 0; step < static_cast<int>(item); ++step)
        press(u"Down"_s);
    press(u"Return"_s);
    return true;
}

bool AgentSession::windowWithKeyboardIs(const QString& title) const
{
    const auto focus = desktop.output(u"xdotool"_s, { u"getwindowfocus"_s, u"getwindowname"_s });
    return focus && QString::fromUtf8(focus->trimmed()) == title;
}

bool AgentSession::openPanel() const
{
    press(u"super+shift+b"_s);
    return waitUntil([this] { return panelHasKeyboard(); });
}

bool AgentSession::branchOff(const QString& text) const
{
    if (!openPanel())
        return false;
    type(text);
    press(u"Return"_s);
    return true;
}

QJsonObject AgentSession::preferences() const
{
    QFile file(preferencesFile());
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

void AgentSession::writePreferences(const QJsonObject& values) const
{
    QDir().mkpath(QFileInfo(preferencesFile()).path());
    QFile file(preferencesFile());
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot write the preferences");
    file.write(QJsonDocument(values).toJson());
}

QJsonObject AgentSession::sent(const QByteArray& path, std::size_t index) const
{
    for (const ReceivedRequest& request : service.requests())
        if (request.target == path && index-- == 0)
            return QJsonDocument::fromJson(request.body).object();
    return {};
}

std::size_t AgentSession::countOf(const QByteArray& path) const
{
    return static_cast<std::size_t>(
        std::ranges::count(service.requests(), path, &ReceivedRequest::target));
}

QString AgentSession::preferencesFile() const
{
    return desktop.environment().value(u"XDG_CONFIG_HOME"_s) + u"/quibel/preferences.json"_s;
}

} // namespace quibel::testing
