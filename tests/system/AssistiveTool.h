#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

#include <atspi/atspi.h>

namespace quibel::testing {

/// An assistive tool, such as a screen reader: sees the agent's windows as they are told over the
/// accessibility bus of the desktop, and hears what is announced there.
///
/// Thread: main; there is one in a process. Hears while the event loop runs.
class AssistiveTool
{
public:
    /// One thing of the agent, as tools see it.
    struct Part
    {
        QString role;
        QString name;
        QString text; ///< What it lets be read beside its name.
        bool showing = false;
        bool focused = false;
        bool checked = false;
        int depth = 0; ///< 0 is the application itself.
    };

    AssistiveTool();
    AssistiveTool(const AssistiveTool&) = delete;
    AssistiveTool& operator=(const AssistiveTool&) = delete;
    ~AssistiveTool();

    /// The whole tree of the agent, each part before its children; empty without an agent.
    [[nodiscard]] std::vector<Part> tree() const;
    /// The first part that has this role and this name.
    [[nodiscard]] std::optional<Part> find(const QString& role, const QString& name) const;

    /// The notifications that appeared, oldest first: what a screen reader says of something other
    /// than the focus.
    [[nodiscard]] QStringList heard() const { return notifications; }
    /// Every other event, as "type detail name", with the text that it carries if it does.
    [[nodiscard]] QStringList events() const { return others; }
    void forget();

private:
    static void hear(AtspiEvent* event, void* self);

    AtspiEventListener* listener;
    QStringList notifications;
    QStringList others;
};

} // namespace quibel::testing
