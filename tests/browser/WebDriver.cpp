#include "tests/browser/WebDriver.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QThread>

#include <csignal>
#include <cstdio>

#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int patienceMs = 60'000;

bool fail(const QString& what)
{
    std::fprintf(stderr, "browser: %s\n", qPrintable(what));
    return false;
}

bool isRunning(qint64 process)
{
    return ::kill(static_cast<pid_t>(process), 0) == 0;
}

} // namespace

WebDriver::WebDriver()
{
    network.setProxy(QNetworkProxy::NoProxy);
}

WebDriver::~WebDriver()
{
    if (hasSession)
        remove(QString());
    const QDeadlineTimer deadline(5'000);
    while (browserProcess > 0 && isRunning(browserProcess) && !deadline.hasExpired())
        QThread::msleep(20);
    if (browserProcess > 0 && isRunning(browserProcess))
        ::kill(static_cast<pid_t>(browserProcess), SIGKILL);
    driver.terminate();
    if (driver.state() != QProcess::NotRunning && !driver.waitForFinished(5'000)) {
        driver.kill();
        driver.waitForFinished();
    }
}

bool WebDriver::start(QSize window)
{
    return startDriver() && startSession(window);
}

QJsonValue WebDriver::get(const QString& path)
{
    return send("GET", path, {});
}

QJsonValue WebDriver::post(const QString& path, const QJsonObject& body)
{
    return send("POST", path, body);
}

QJsonValue WebDriver::remove(const QString& path)
{
    return send("DELETE", path, {});
}

QJsonValue WebDriver::browserCommand(const QString& command, const QJsonObject& parameters)
{
    return post(u"/goog/cdp/execute"_s, { { u"cmd"_s, command }, { u"params"_s, parameters } });
}

bool WebDriver::startDriver()
{
    driver.setProcessEnvironment(freshEnvironment());
    driver.setProcessChannelMode(QProcess::MergedChannels);
    driver.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    driver.start(u"chromedriver"_s, { u"--port=0"_s });
    static const QRegularExpression said(u"started successfully on port ([0-9]+)"_s);
    QString output;
    while (!said.match(output).hasMatch()) {
        if (!driver.waitForReadyRead(patienceMs))
            return fail(u"chromedriver does not start: "_s + output + driver.errorString());
        output += QString::fromUtf8(driver.readAll());
    }
    base = u"http://127.0.0.1:"_s + said.match(output).captured(1);
    return true;
}

bool WebDriver::startSession(QSize window)
{
    QJsonArray arguments { u"--headless=new"_s,
                           u"--user-data-dir="_s + home.filePath(u"profile"_s),
                           u"--window-size=%1,%2"_s.arg(window.width()).arg(window.height()),
                           u"--no-first-run"_s,
                           u"--no-proxy-server"_s,
                           u"--disable-gpu"_s,
                           u"--disable-dev-shm-usage"_s,
                           u"--disable-component-update"_s,
                           u"--disable-sync"_s,
                           // Nothing outside this machine has an address.
                           u"--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1"_s };
    if (::geteuid() == 0)
        arguments.append(u"--no-sandbox"_s);
    const QJsonObject wanted {
        { u"browserName"_s, u"chrome"_s },
        { u"goog:loggingPrefs"_s,
          QJsonObject { { u"browser"_s, u"ALL"_s }, { u"performance"_s, u"ALL"_s } } },
        { u"goog:chromeOptions"_s,
          QJsonObject { { u"binary"_s, writeLauncher() }, { u"args"_s, arguments } } },
    };
    const auto session = post(
        u"/session"_s, { { u"capabilities"_s, QJsonObject { { u"alwaysMatch"_s, wanted } } } });
    const auto id = session[u"sessionId"_s].toString();
    if (id.isEmpty())
        return fail(u"Chromium does not start"_s);
    base += u"/session/"_s + id;
    hasSession = true;
    browserProcess = session[u"capabilities"_s][u"goog:processID"_s].toInteger();
    return true;
}

QString WebDriver::writeLauncher() const
{
    // A driver that is killed would leave its browser behind.
    QString path = home.filePath(u"chromium"_s);
    QFile file(path);
    if (file.open(QFile::WriteOnly))
        file.write("#!/bin/sh\nexec setpriv --pdeathsig KILL chromium \"$@\" 2>/dev/null\n");
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

QProcessEnvironment WebDriver::freshEnvironment() const
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home.path());
    environment.insert(u"TZ"_s, u"UTC"_s);
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    for (const auto& name : { u"XDG_CONFIG_HOME"_s,
                              u"XDG_CACHE_HOME"_s,
                              u"XDG_DATA_HOME"_s,
                              u"XDG_RUNTIME_DIR"_s,
                              u"DISPLAY"_s,
                              u"WAYLAND_DISPLAY"_s,
                              u"DBUS_SESSION_BUS_ADDRESS"_s })
        environment.remove(name);
    return environment;
}

QJsonValue WebDriver::send(const QByteArray& method, const QString& path, const QJsonObject& body)
{
    QNetworkRequest request { QUrl(base + path) };
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    request.setTransferTimeout(patienceMs);
    const auto bytes
        = method == "POST" ? QJsonDocument(body).toJson(QJsonDocument::Compact) : QByteArray();
    const std::unique_ptr<QNetworkReply> reply(network.sendCustomRequest(request, method, bytes));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    auto answer = QJsonDocument::fromJson(reply->readAll())[u"value"_s];
    if (reply->error() == QNetworkReply::NoError)
        return answer;
    const auto why = answer[u"message"_s].toString(reply->errorString()).section(u'\n', 0, 0);
    fail(QString::fromLatin1(method) + u' ' + path + u": "_s + why);
    return QJsonValue::Undefined;
}

} // namespace quibel::testing
