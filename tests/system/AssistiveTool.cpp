#include "tests/system/AssistiveTool.h"

#include "platform/glib/GLibHandles.h"

#include <QCoreApplication>

#include <array>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

using Accessible = GLibHandle<AtspiAccessible>;

const std::array watched { "object:state-changed",   "object:children-changed",
                           "object:text-changed",    "object:text-selection-changed",
                           "object:property-change", "object:visible-data-changed" };

QString taken(gchar* text)
{
    QString copy = QString::fromUtf8(text);
    g_free(text);
    return copy;
}

QString nameOf(AtspiAccessible* object)
{
    return taken(atspi_accessible_get_name(object, nullptr));
}

QString textOf(AtspiAccessible* object)
{
    const GLibHandle<AtspiText> text(atspi_accessible_get_text_iface(object));
    return text ? taken(atspi_text_get_text(text.get(), 0, -1, nullptr)) : QString();
}

QString textOf(const AtspiEvent& event)
{
    return G_VALUE_HOLDS_STRING(&event.any_data)
        ? QString::fromUtf8(g_value_get_string(&event.any_data))
        : QString();
}

Accessible childOf(AtspiAccessible* object, int index)
{
    return Accessible(atspi_accessible_get_child_at_index(object, index, nullptr));
}

/// Asking this process itself would wait for an answer that it cannot give meanwhile.
bool isOfAnotherProcess(AtspiAccessible* object)
{
    return atspi_accessible_get_process_id(object, nullptr)
        != static_cast<guint>(QCoreApplication::applicationPid());
}

/// The name of a role, as new versions of AT-SPI have it.
QString roleOf(AtspiAccessible* object)
{
    const QString role = taken(atspi_accessible_get_role_name(object, nullptr));
    return role == u"push button"_s ? u"button"_s : role;
}

AssistiveTool::Part partOf(AtspiAccessible* object, int depth)
{
    const GLibHandle<AtspiStateSet> states(atspi_accessible_get_state_set(object));
    const auto is = [&states](AtspiStateType state) {
        return states && atspi_state_set_contains(states.get(), state) != FALSE;
    };
    return { .role = roleOf(object),
             .name = nameOf(object),
             .text = textOf(object),
             .showing = is(ATSPI_STATE_SHOWING),
             .focused = is(ATSPI_STATE_FOCUSED),
             .checked = is(ATSPI_STATE_CHECKED),
             .depth = depth };
}

void walk(AtspiAccessible* object, int depth, std::vector<AssistiveTool::Part>& found)
{
    found.push_back(partOf(object, depth));
    const int count = atspi_accessible_get_child_count(object, nullptr);
    for (int index = 0; index < count; ++index)
        if (const Accessible child = childOf(object, index))
            walk(child.get(), depth + 1, found);
}

} // namespace

AssistiveTool::AssistiveTool()
{
    atspi_init();
    // NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): only after atspi_init().
    listener = atspi_event_listener_new(hear, this, nullptr);
    const Accessible desktop(atspi_get_desktop(0));
    atspi_accessible_set_cache_mask(desktop.get(), ATSPI_CACHE_NONE);
    for (const char* type : watched)
        if (atspi_event_listener_register(listener, type, nullptr) == FALSE)
            qFatal("the accessibility bus does not answer");
}

AssistiveTool::~AssistiveTool()
{
    for (const char* type : watched)
        atspi_event_listener_deregister(listener, type, nullptr);
    g_object_unref(listener);
}

std::vector<AssistiveTool::Part> AssistiveTool::tree() const
{
    std::vector<Part> found;
    const Accessible desktop(atspi_get_desktop(0));
    const int count = atspi_accessible_get_child_count(desktop.get(), nullptr);
    for (int index = 0; index < count; ++index)
        if (const Accessible application = childOf(desktop.get(), index))
            if (isOfAnotherProcess(application.get()))
                walk(application.get(), 0, found);
    return found;
}

std::optional<AssistiveTool::Part> AssistiveTool::find(const QString& role,
                                                       const QString& name) const
{
    for (const Part& part : tree())
        if (part.role == role && part.name == name)
            return part;
    return std::nullopt;
}

void AssistiveTool::forget()
{
    notifications.clear();
    others.clear();
}

void AssistiveTool::hear(AtspiEvent* event, void* self)
{
    auto* tool = static_cast<AssistiveTool*>(self);
    const QString type = QString::fromUtf8(event->type);
    const bool isOfAgent = isOfAnotherProcess(event->source);
    const bool isNotification
        = isOfAgent && atspi_accessible_get_role(event->source, nullptr) == ATSPI_ROLE_NOTIFICATION;
    if (isNotification && type == u"object:state-changed:showing"_s && event->detail1 == 1)
        tool->notifications << nameOf(event->source);
    else if (isOfAgent)
        tool->others << u"%1 %2 %3 %4"_s.arg(type)
                            .arg(event->detail1)
                            .arg(nameOf(event->source), textOf(*event))
                            .trimmed();
    g_boxed_free(ATSPI_TYPE_EVENT, event);
}

} // namespace quibel::testing
