#pragma once

#include "tests/browser/WebDriver.h"

#include <QJsonArray>
#include <QStringList>
#include <QUrl>

namespace quibel::testing {

using namespace Qt::StringLiterals;

/// Keys that write nothing, for `Browser::press`.
///
/// Source: https://www.w3.org/TR/webdriver2/#keyboard-actions
namespace keys {
inline const QString tab = u"\uE004"_s;
inline const QString enter = u"\uE007"_s;
inline const QString control = u"\uE009"_s; ///< Held until the end of the same text.
inline const QString alt = u"\uE00A"_s;     ///< Held until the end of the same text.
inline const QString escape = u"\uE00C"_s;
inline const QString up = u"\uE013"_s;
inline const QString down = u"\uE015"_s;
inline const QString remove = u"\uE017"_s;
} // namespace keys

/// What a person does with a page, and what they see of it.
///
/// Everything that names an element by its CSS selector waits until there is one.
///
/// Thread: the one that made it; the calls wait.
/// Errors: false or nothing, with the reason on standard error.
class Browser
{
public:
    enum class Scheme { light, dark };

    [[nodiscard]] bool start(QSize window = { 1100, 800 }) { return driver.start(window); }

    bool open(const QUrl& url);
    [[nodiscard]] QUrl address();

    /// Opens another window and goes on in it; returns the name of the one before.
    QString openWindow();
    /// Goes on in this window; returns the name of the one before.
    QString useWindow(const QString& name);
    /// Closes the window and goes on in another one.
    void closeWindow(const QString& other);

    void forgetCookies();

    bool click(const QString& selector);
    /// Gives the element the focus and types into it.
    bool type(const QString& selector, const QString& text);
    /// Presses keys, one after the other, wherever the focus is.
    bool press(const QString& text);

    [[nodiscard]] QString text(const QString& selector);
    [[nodiscard]] QString attribute(const QString& selector, const QString& name);
    /// The texts of all elements that are there now.
    [[nodiscard]] QStringList texts(const QString& selector);

    /// The value of an expression of JavaScript.
    QJsonValue evaluate(const QString& expression, const QJsonArray& arguments = {});
    /// Waits until an expression is true.
    [[nodiscard]] bool waitUntil(const QString& expression, const QJsonArray& arguments = {});
    /// Waits until there is such an element.
    [[nodiscard]] bool waitFor(const QString& selector);
    [[nodiscard]] bool waitForText(const QString& selector, const QString& text);

    /// Shows pages as on a screen of this size, with this preference.
    void show(Scheme scheme, QSize viewport);
    [[nodiscard]] bool savePicture(const QString& path);

    /// A command of the browser's own protocol.
    QJsonValue command(const QString& name, const QJsonObject& parameters = {})
    {
        return driver.browserCommand(name, parameters);
    }

    /// What was written to the console since the last call, violations of the page's content
    /// security policy among it.
    [[nodiscard]] QStringList complaints();
    /// Every address that was asked for since the last call.
    [[nodiscard]] QStringList requests();

private:
    [[nodiscard]] QString find(const QString& selector);
    bool onElement(const QString& selector, const QString& action, const QJsonObject& body = {});

    WebDriver driver;
};

} // namespace quibel::testing
