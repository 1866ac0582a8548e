#pragma once

#include <QDBusVirtualObject>

namespace quibel::testing {

/// A Secret Service that answers every change by a prompt, as some do. It has one item, whose
/// account is "existing", and writes "prompted" to standard output when a prompt is started; a call
/// of `org.quibel.Test.AnswerPrompt` stands for the user's answer.
class PromptingSecretStore : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// Takes the service's place on the session bus. Errors: false when it is taken.
    [[nodiscard]] bool start();

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    [[nodiscard]] static QDBusMessage answer(const QDBusMessage& message);
};

} // namespace quibel::testing
