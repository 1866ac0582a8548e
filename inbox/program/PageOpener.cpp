#include "inbox/program/PageOpener.h"

#include "inbox/http/Descriptor.h"
#include "inbox/http/ListenAddress.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"

#include <QProcess>

#include <memory>

#include <netdb.h>
#include <sys/socket.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

/// Whether anything answers at the address of a page on this machine.
bool isServed(const QUrl& page)
{
    addrinfo wanted {};
    wanted.ai_flags = AI_NUMERICSERV;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(page.host().toLatin1().constData(),
                      QByteArray::number(page.port()).constData(),
                      &wanted,
                      &found)
        != 0)
        return false;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, &::freeaddrinfo);
    for (const auto* address = found; address; address = address->ai_next) {
        const Descriptor socket(::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (socket.isOpen()
            && ::connect(socket.number(), address->ai_addr, address->ai_addrlen) == 0)
            return true;
    }
    return false;
}

} // namespace

std::variant<QUrl, QString> makeSignInLink(Storage& storage, const QString& accountID)
{
    const auto found = storage.settings.value(pageAddressSetting);
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    const auto& address = std::get<std::optional<QString>>(found);
    const QUrl page(address.value_or(QString()));
    if (address && !ListenAddress { .host = page.host(), .port = 0 }.isLoopback())
        return u"the service listens on %1 only, where links do not work; sign in there with a "
               u"password"_s.arg(page.host());
    // The address of one that has ended may be somebody else's by now, who must not get a link.
    if (!address || !isServed(page))
        return u"the service does not run with this data; start it with: quibel-inbox serve"_s;

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
