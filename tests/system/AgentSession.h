#pragma once

#include "tests/desktop/VirtualDesktop.h"
#include "tests/service/ScriptedService.h"

#include <QJsonObject>
#include <QLineEdit>
#include <QProcess>
#include <QRect>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

namespace quibel::testing {

/// Where the agent posts branches.
inline const QByteArray branchPath = "/api/branches/from-agent";
/// The preference that holds a branch that could not be sent.
inline const QString keptKey = QStringLiteral("quibel.lastFailedCapture");

/// The application that the user is working in: a window of this test, with a field that takes what
/// is typed and a picture that can be told from any other.
class EditorWindow : public QWidget
{
public:
    explicit EditorWindow(const QString& title);

    /// Shows the window and gives it the keyboard, as a user who clicks it. Returns when it has it.
    [[nodiscard]] bool bringToFront();
    /// The same for a window that is shown already, in whatever state.
    [[nodiscard]] bool bringToFrontAsItIs();

    QLineEdit field;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// The real agent with a real service, on the private desktop that this test process has entered.
///
/// Thread: main; the calls run the event loop while they wait.
class AgentSession
{
public:
    /// `service` stands for the user's account: two projects, every branch is taken.
    explicit AgentSession(VirtualDesktop& where);
    AgentSession(const AgentSession&) = delete;
    AgentSession& operator=(const AgentSession&) = delete;
    /// Ends the agent; fails the test when it does not end well.
    ~AgentSession();

    /// Puts a key into the key ring, as if the account had been connected.
    [[nodiscard]] bool storeKey(const QByteArray& key = "sk_system") const;
    [[nodiscard]] std::optional<QByteArray> storedKey() const;
    void forgetKey();

    /// Starts the agent and waits until its hot key is grabbed.
    [[nodiscard]] bool launch(const QProcessEnvironment& extra = {},
                              const QStringList& arguments = {},
                              const std::function<void(QProcess&)>& prepare = {});
    /// Connects the account, starts the agent and waits until it has the list of projects.
    [[nodiscard]] bool launchConnected();
    /// Ends the agent at once, as a crash would.
    void kill();
    /// Sends a signal to the agent.
    void signal(int number) const;
    /// Nobody reads any more what the agent writes.
    void stopReading();
    [[nodiscard]] bool isRunning() const { return agent && agent->state() == QProcess::Running; }
    [[nodiscard]] pid_t processId() const { return static_cast<pid_t>(agent->processId()); }
    [[nodiscard]] int exitCode() const { return agent->exitCode(); }
    [[nodiscard]] bool endedNormally() const { return agent->exitStatus() == QProcess::NormalExit; }

    /// Presses keys as a keyboard does, for example "super+shift+b".
    void press(const QString& keys) const;
    void type(const QString& text) const;
    /// Runs it to its end.
    void xdotool(const QStringList& arguments, const QByteArray& input = {}) const;

    struct Window
    {
        WId id = 0;
        QRect geometry;
    };
    /// The visible window of the panel, as large as its frame is without a shadow; none while it is
    /// closed.
    [[nodiscard]] std::optional<Window> panel() const;
    [[nodiscard]] bool panelHasKeyboard() const;
    /// Presses the hot key and waits until the panel has the keyboard.
    [[nodiscard]] bool openPanel() const;
    /// Opens the panel, types a line and presses Return.
    [[nodiscard]] bool branchOff(const QString& text) const;

    /// The agent's icon in the tray; none while it is not shown.
    [[nodiscard]] std::optional<Window> trayIcon() const;

    /// The menu where the agent draws it; none while it is closed.
    [[nodiscard]] std::optional<Window> menu() const;
    /// Clicks the icon and waits for the menu.
    [[nodiscard]] bool openMenu() const;

    /// How many times Down is pressed to get there from a menu that has just opened.
    enum class MenuItem { sendBranch = 1, connectAccount = 2, quit = 3 };
    /// Clicks the icon and chooses an item by the keyboard.
    [[nodiscard]] bool chooseInMenu(MenuItem item) const;
    [[nodiscard]] bool windowWithKeyboardIs(const QString& title) const;

    [[nodiscard]] QJsonObject preferences() const;
    void writePreferences(const QJsonObject& values) const;

    /// The body of the `index`-th request to `path` as JSON; empty when there is none.
    [[nodiscard]] QJsonObject sent(const QByteArray& path, std::size_t index = 0) const;
    [[nodiscard]] std::size_t countOf(const QByteArray& path) const;

    [[nodiscard]] QByteArray output() const { return standardOutput; }
    [[nodiscard]] QByteArray errors() const { return standardError; }

    ScriptedService service;
    /// Pixels to the point where the agent starts, and where the panel is looked for.
    double startScale = 1;
    double panelScale = 1;

private:
    [[nodiscard]] QString preferencesFile() const;
    [[nodiscard]] std::vector<Window> visibleWindows() const;
    [[nodiscard]] std::vector<Window> windows(const QStringList& restriction) const;

    VirtualDesktop& desktop;
    std::unique_ptr<QProcess> agent;
    QByteArray standardOutput;
    QByteArray standardError;
};

} // namespace quibel::testing
