#pragma once

#include "app/AppDelegate.h"
#include "tests/fakes/FakePlatform.h"

#include <QAction>
#include <QApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <memory>

namespace quibel {

inline const SecretIdentity agentItem { .service = QStringLiteral("QuibelDesktop"),
                                        .account = QStringLiteral("apiKey") };
inline const QString keptKey = QStringLiteral("quibel.lastFailedCapture");
inline const HttpOutcome createdBranch = FakeHttpSession::success(201, R"({"branch":{"id":"b1"}})");

/// The request for the projects, upon launch, is the first of all; branches come after it.
constexpr std::size_t branchRequest = 1;

/// The agent on a desktop of fakes, driven as a person drives it: hot key, menu, typing.
class AgentBench
{
public:
    AgentBench()
    {
        desktop.environment.insert(QStringLiteral("QUIBEL_API_BASE_URL"),
                                   QStringLiteral("https://service.invalid/base"));
        desktop.screens.screens = { { .displayID = 1,
                                      .frame = { 0, 0, 1280, 800 },
                                      .visibleFrame = { 0, 0, 1280, 768 },
                                      .pixelFrame = { 0, 0, 1280, 800 } } };
        desktop.workspace.frontmost = editor;
        desktop.workspace.windows = { { .number = 7,
                                        .ownerProcess = 42,
                                        .name = QStringLiteral("notes.txt"),
                                        .layer = 0,
                                        .bounds = QRectF(10, 20, 640, 480) } };
    }

    void storeKey(const QByteArray& key = "sk_test")
    {
        desktop.secretItems.items = { { agentItem, key } };
    }

    void rememberProjects(const QStringList& ids)
    {
        desktop.preferences.values.insert(QStringLiteral("ProjectStore.projects"), ids);
    }

    /// An account with a key and projects.
    void connectAccount(const QStringList& ids)
    {
        storeKey();
        rememberProjects(ids);
    }

    void keepBranch(const QByteArray& document)
    {
        desktop.preferences.values.insert(keptKey, document);
    }

    void launch()
    {
        delegate = std::make_unique<AppDelegate>(desktop.ports());
        delegate->applicationDidFinishLaunching();
    }

    void pressHotKey() { desktop.hotKeys.press(Qt::META | Qt::SHIFT | Qt::Key_B); }

    [[nodiscard]] static QLineEdit* textField()
    {
        const auto windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            const auto fields = window->findChildren<QLineEdit*>();
            for (QLineEdit* field : fields)
                if (field->isVisible() && field->echoMode() == QLineEdit::Normal)
                    return field;
        }
        return nullptr;
    }

    [[nodiscard]] static bool panelIsOpen() { return textField() != nullptr; }

    static void type(const QString& text) { QTest::keyClicks(textField(), text); }
    static void pressKey(Qt::Key key) { QTest::keyClick(textField(), key); }

    /// Opens the panel, types `text` and sends it.
    void branchOff(const QString& text)
    {
        pressHotKey();
        type(text);
        pressKey(Qt::Key_Return);
    }

    [[nodiscard]] static bool syncWarningIsShown()
    {
        const auto labels = textField()->window()->findChildren<QLabel*>();
        return std::ranges::any_of(labels, [](const QLabel* label) {
            return label->text() == QStringLiteral("Offline — not syncing") && label->isVisible();
        });
    }

    /// What is in the tray menu.
    [[nodiscard]] static QList<QAction*> menuItems()
    {
        const auto widgets = QApplication::allWidgets();
        for (QWidget* widget : widgets)
            if (auto* menu = qobject_cast<QMenu*>(widget))
                return menu->actions();
        qFatal("there is no menu");
    }

    /// The first item of the tray menu.
    [[nodiscard]] static QAction& statusLine() { return *menuItems().constFirst(); }

    static void enterKey(const QString& key)
    {
        const auto windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows)
            if (auto* field = window->findChild<QLineEdit*>();
                field != nullptr && field->echoMode() == QLineEdit::Password) {
                QTest::keyClicks(field, key);
                QTest::keyClick(field, Qt::Key_Return);
            }
    }

    [[nodiscard]] QJsonObject sentDocument(std::size_t index) const
    {
        return QJsonDocument::fromJson(desktop.session.requests.at(index).body.joined()).object();
    }

    [[nodiscard]] std::optional<QByteArray> keptBranch() const
    {
        return desktop.preferences.data(keptKey);
    }

    /// Lets everything that is due now run.
    static void settle()
    {
        for (int turn = 0; turn < 10; ++turn)
            QCoreApplication::processEvents();
    }

    const RunningApplication editor { .localizedName = QStringLiteral("Editor"),
                                      .bundleIdentifier = QStringLiteral("org.example.Editor"),
                                      .processIdentifier = 42,
                                      .keyWindow = 7 };
    FakePlatform desktop;
    std::unique_ptr<AppDelegate> delegate;
};

} // namespace quibel
