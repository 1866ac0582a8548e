#pragma once

#include <QString>
#include <QUrl>

#include <variant>

namespace quibel::inbox {

struct Storage;

/// A link that signs somebody in to the page of the service that runs on this machine, once.
///
/// Errors: why there is none, for a person.
[[nodiscard]] std::variant<QUrl, QString> makeSignInLink(Storage& storage,
                                                         const QString& accountID);

/// Remembers where the page is, for links that other processes make.
inline const QString pageAddressSetting = QStringLiteral("page_address");

/// Gives a link to the user's browser; false when there is no desktop or no browser on it.
[[nodiscard]] bool openInBrowser(const QUrl& link);

} // namespace quibel::inbox
