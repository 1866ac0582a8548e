#pragma once

#include "platform/SingleInstance.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

namespace quibel {

/// How desktops start applications, and choose their actions, over the session bus.
///
/// Source: Desktop Entry Specification 1.5, "D-Bus Activation".
class ApplicationInterface : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    static QString name();
    /// What `ActivateAction` calls a command.
    static QString action(AgentCommand command);

    /// `handler` gets each command that comes in.
    ApplicationInterface(QObject* owner, SingleInstance::Handler handler);

    // NOLINTBEGIN(readability-identifier-naming): the names of the protocol.
public Q_SLOTS: // NOLINT(readability-redundant-access-specifiers): moc reads it.
    void Activate(const QVariantMap& platformData);
    /// Does nothing: there are no files to open.
    void Open(const QStringList& uris, const QVariantMap& platformData);
    /// Errors: a D-Bus error for an action that there is not.
    void ActivateAction(const QString& action,
                        const QVariantList& parameter,
                        const QVariantMap& platformData,
                        const QDBusMessage& call);
    // NOLINTEND(readability-identifier-naming)

private:
    SingleInstance::Handler take;
};

} // namespace quibel
