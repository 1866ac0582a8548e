#pragma once

#include "platform/LoginItem.h"

#include <QStringList>

namespace quibel {

/// The user's autostart entry. An entry of the system is left as it is; the user's own, of the same
/// name, counts in its place.
///
/// Source: Desktop Application Autostart Specification 0.5.
class AutostartEntry : public LoginItem
{
public:
    /// `startedProgram` is what is started. The folders are those of the environment now.
    explicit AutostartEntry(QString startedProgram = thisProgram());

    [[nodiscard]] bool isOn() const override;
    [[nodiscard]] std::optional<QString> turnOn() override;
    [[nodiscard]] std::optional<QString> turnOff() override;

private:
    [[nodiscard]] static QString thisProgram();
    [[nodiscard]] QString userEntry() const { return entries.constFirst(); }
    [[nodiscard]] std::optional<QString> write(const QByteArray& content) const;

    QString program;
    QStringList entries; ///< Where there may be one; the first that there is counts.
};

} // namespace quibel
