#pragma once

#include <QString>

namespace quibel::inbox {

/// Somebody whose agents send branches here, and who looks at them on the page.
struct Account
{
    QString id;
    QString name;
    bool hasPassword = false;

    bool operator==(const Account&) const = default;
};

} // namespace quibel::inbox
