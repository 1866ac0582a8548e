#include "inbox/program/Service.h"

#include "inbox/http/HttpServer.h"
#include "inbox/http/ListenSocket.h"
#include "inbox/program/PageOpener.h"
#include "inbox/program/ProcessSignals.h"
#include "inbox/program/RequestRouter.h"
#include "inbox/storage/Storage.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

/// How long a branch stays that was deleted: until then that can be undone.
constexpr std::chrono::hours timeToUndo { 24 };

void purge(Storage& storage)
{
    const auto purged = storage.branches.purge(timeToUndo);
    if (const auto* error = std::get_if<StorageError>(&purged))
        std::fprintf(stderr, "quibel-inbox: %s\n", qUtf8Printable(error->reason));
}

} // namespace

std::optional<QString> serve(Database& database, Storage& storage, const ServiceOptions& options)
{
    const bool tls = !options.certificateFile.isEmpty();
    if (!options.listen.isLoopback() && !tls && !options.behindProxy)
        return u"%1 can be reached from other machines, and keys and texts would travel "
               u"unprotected; give it a certificate (--tls-certificate and --tls-key), or "
               u"--behind-proxy if a proxy in front speaks TLS, or listen on 127.0.0.1 or [::1]"_s
                   .arg(options.listen.toString());

    const ProcessSignals signals;
    auto opened = openListenSocket(options.listen);
    if (const auto* reason = std::get_if<QString>(&opened))
        return u"cannot listen on %1: %2"_s.arg(options.listen.toString(), *reason);
    auto& socket = std::get<ListenSocket>(opened);
    const auto url = (tls ? u"https://"_s : u"http://"_s) + socket.address.toString();

    RequestRouter router(database,
                         storage,
                         { .localNamesOnly = options.listen.isLoopback() && !options.behindProxy,
                           .metrics = [] { return QByteArray(); } });
    HttpServer server(
        [&router](const QList<HttpRequest>& requests) { return router.answer(requests); }, {});
    if (!server.start(std::move(socket)))
        return u"cannot start the HTTP server"_s;
    if (const auto error = storage.settings.setValue(pageAddressSetting, url))
        return error->reason;
    QObject::connect(&signals, &ProcessSignals::endRequested, qApp, &QCoreApplication::quit);

    QTimer cleaning;
    QObject::connect(&cleaning, &QTimer::timeout, &cleaning, [&storage] { purge(storage); });
    cleaning.start(std::chrono::hours(1));
    purge(storage);

    std::printf("listening on %s\n", qUtf8Printable(url));
    std::fflush(stdout);
    QCoreApplication::exec();
    return {};
}

} // namespace quibel::inbox
