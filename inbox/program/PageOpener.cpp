#include "inbox/program/PageOpener.h"

#include "inbox/http/ListenAddress.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"

#include <QProcess>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

std::variant<QUrl, QString> makeSignInLink(Storage& storage, const QString& accountID)
{
    const auto found = storage.settings.value(pageAddressSetting);
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    const auto& address = std::get<std::optional<QString>>(found);
    if (!address)
        return u"the service does not run with this data; start it with: quibel-inbox serve"_s;

    const QUrl page(*address);
    if (!ListenAddress { .host = page.host(), .port = 0 }.isLoopback())
        return u"the service listens on %1 only, where links do not work; sign in there with a "
               u"password"_s.arg(page.host());

    const auto token = generateSecretToken();
    if (const auto error = storage.sessions.addLink(accountID, hashSecret(token)))
        return error->reason;
    return page.resolved(QUrl(u"/sign-in/"_s + QString::fromLatin1(token)));
}

bool openInBrowser(const QUrl& link)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return false;
    QProcess opener;
    opener.setProgram(u"xdg-open"_s);
    opener.setArguments({ QString::fromLatin1(link.toEncoded()) });
    return opener.startDetached();
}

} // namespace quibel::inbox
