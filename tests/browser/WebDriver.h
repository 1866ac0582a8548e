#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QSize>
#include <QString>
#include <QTemporaryDir>

namespace quibel::testing {

/// One headless Chromium behind a chromedriver of its own, on a free port and in a fresh home.
/// Both end with it, also when this process is killed.
///
/// Thread: the one that made it; the calls wait.
/// Source: https://www.w3.org/TR/webdriver2/
class WebDriver
{
public:
    WebDriver();
    WebDriver(const WebDriver&) = delete;
    WebDriver& operator=(const WebDriver&) = delete;
    ~WebDriver();

    /// Errors: false, with the reason on standard error.
    [[nodiscard]] bool start(QSize window);

    /// The command's "value". A `path` is relative to the session, as in "/url".
    ///
    /// Errors: Undefined, with what the driver said on standard error.
    [[nodiscard]] QJsonValue get(const QString& path);
    QJsonValue post(const QString& path, const QJsonObject& body = {});
    QJsonValue remove(const QString& path);

    /// A command of the browser's own protocol, such as "Emulation.setEmulatedMedia".
    QJsonValue browserCommand(const QString& command, const QJsonObject& parameters);

private:
    [[nodiscard]] bool startDriver();
    [[nodiscard]] bool startSession(QSize window);
    [[nodiscard]] QString writeLauncher() const;
    [[nodiscard]] QProcessEnvironment freshEnvironment() const;
    QJsonValue send(const QByteArray& method, const QString& path, const QJsonObject& body);

    QTemporaryDir home;
    QProcess driver;
    QNetworkAccessManager network;
    QString base; ///< Of the session, once there is one.
    bool hasSession = false;
    qint64 browserProcess = 0;
};

} // namespace quibel::testing
