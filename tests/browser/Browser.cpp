#include "tests/browser/Browser.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QThread>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int patienceMs = 20'000;

/// The name of the member by which the driver refers to elements.
const QString elementMember = u"element-6066-11e4-a52e-4f735466cecf"_s;

bool isHeld(QChar key)
{
    return key == keys::control.front() || key == keys::alt.front();
}

} // namespace

bool Browser::open(const QUrl& url)
{
    return !driver.post(u"/url"_s, { { u"url"_s, url.toString() } }).isUndefined();
}

QUrl Browser::address()
{
    return { driver.get(u"/url"_s).toString() };
}

QString Browser::openWindow()
{
    const auto opened = driver.post(u"/window/new"_s, { { u"type"_s, u"window"_s } });
    return useWindow(opened[u"handle"_s].toString());
}

QString Browser::useWindow(const QString& name)
{
    auto before = driver.get(u"/window"_s).toString();
    driver.post(u"/window"_s, { { u"handle"_s, name } });
    return before;
}

void Browser::closeWindow(const QString& other)
{
    driver.remove(u"/window"_s);
    driver.post(u"/window"_s, { { u"handle"_s, other } });
}

void Browser::forgetCookies()
{
    command(u"Network.clearBrowserCookies"_s);
}

bool Browser::click(const QString& selector)
{
    return onElement(selector, u"click"_s);
}

bool Browser::type(const QString& selector, const QString& text)
{
    return onElement(selector, u"value"_s, { { u"text"_s, text } });
}

bool Browser::press(const QString& text)
{
    QJsonArray steps;
    const auto step = [&steps](const QString& kind, QChar key) {
        steps.append(QJsonObject { { u"type"_s, kind }, { u"value"_s, QString(key) } });
    };
    QString held;
    for (const auto key : text) {
        step(u"keyDown"_s, key);
        if (isHeld(key))
            held.prepend(key);
        else
            step(u"keyUp"_s, key);
    }
    for (const auto key : std::as_const(held))
        step(u"keyUp"_s, key);
    const QJsonObject keyboard { { u"type"_s, u"key"_s },
                                 { u"id"_s, u"keyboard"_s },
                                 { u"actions"_s, steps } };
    return !driver.post(u"/actions"_s, { { u"actions"_s, QJsonArray { keyboard } } }).isUndefined();
}

QString Browser::text(const QString& selector)
{
    return waitFor(selector)
        ? evaluate(u"document.querySelector(arguments[0]).textContent"_s, { selector }).toString()
        : QString();
}

QString Browser::attribute(const QString& selector, const QString& name)
{
    return waitFor(selector)
        ? evaluate(u"document.querySelector(arguments[0]).getAttribute(arguments[1])"_s,
                   { selector, name })
              .toString()
        : QString();
}

QStringList Browser::texts(const QString& selector)
{
    const auto all
        = evaluate(u"[...document.querySelectorAll(arguments[0])].map((one) => one.textContent)"_s,
                   { selector });
    return all.toVariant().toStringList();
}

QJsonValue Browser::evaluate(const QString& expression, const QJsonArray& arguments)
{
    return driver.post(u"/execute/sync"_s,
                       { { u"script"_s, u"return "_s + expression }, { u"args"_s, arguments } });
}

bool Browser::waitUntil(const QString& expression, const QJsonArray& arguments)
{
    const QDeadlineTimer deadline(patienceMs);
    while (!evaluate(expression, arguments).toBool()) {
        if (deadline.hasExpired()) {
            std::fprintf(stderr,
                         "browser: never true: %s %s\n",
                         qPrintable(expression),
                         QJsonDocument(arguments).toJson(QJsonDocument::Compact).constData());
            return false;
        }
        QThread::msleep(20);
    }
    return true;
}

bool Browser::waitFor(const QString& selector)
{
    return waitUntil(u"document.querySelector(arguments[0]) !== null"_s, { selector });
}

bool Browser::waitForText(const QString& selector, const QString& text)
{
    return waitUntil(
        u"(document.querySelector(arguments[0])?.textContent ?? '').includes(arguments[1])"_s,
        { selector, text });
}

void Browser::show(Scheme scheme, QSize viewport)
{
    const QJsonObject preference { { u"name"_s, u"prefers-color-scheme"_s },
                                   { u"value"_s,
                                     scheme == Scheme::dark ? u"dark"_s : u"light"_s } };
    command(u"Emulation.setEmulatedMedia"_s, { { u"features"_s, QJsonArray { preference } } });
    command(u"Emulation.setDeviceMetricsOverride"_s,
            { { u"width"_s, viewport.width() },
              { u"height"_s, viewport.height() },
              { u"deviceScaleFactor"_s, 1 },
              { u"mobile"_s, false } });
}

bool Browser::savePicture(const QString& path)
{
    const auto picture = QByteArray::fromBase64(driver.get(u"/screenshot"_s).toString().toLatin1());
    QFile file(path);
    return !picture.isEmpty() && file.open(QFile::WriteOnly)
        && file.write(picture) == picture.size();
}

QStringList Browser::complaints()
{
    const auto entries = driver.post(u"/se/log"_s, { { u"type"_s, u"browser"_s } }).toArray();
    QStringList all;
    for (const auto& entry : entries)
        all.append(entry[u"level"_s].toString() + u": "_s + entry[u"message"_s].toString());
    return all;
}

QStringList Browser::requests()
{
    const auto entries = driver.post(u"/se/log"_s, { { u"type"_s, u"performance"_s } }).toArray();
    QStringList all;
    for (const auto& entry : entries) {
        const auto event = QJsonDocument::fromJson(entry[u"message"_s].toString().toUtf8());
        const auto message = event[u"message"_s];
        if (message[u"method"_s] == u"Network.requestWillBeSent"_s)
            all.append(message[u"params"_s][u"request"_s][u"url"_s].toString());
    }
    return all;
}

QString Browser::find(const QString& selector)
{
    if (!waitFor(selector))
        return {};
    const auto found = driver.post(u"/element"_s,
                                   { { u"using"_s, u"css selector"_s }, { u"value"_s, selector } });
    return found[elementMember].toString();
}

bool Browser::onElement(const QString& selector, const QString& action, const QJsonObject& body)
{
    // A page may replace an element just as it was found.
    for (int tries = 0; tries < 3; ++tries) {
        const auto element = find(selector);
        const auto path = u"/element/%1/%2"_s.arg(element, action);
        if (element.isEmpty())
            return false;
        if (!driver.post(path, body).isUndefined())
            return true;
    }
    return false;
}

} // namespace quibel::testing
