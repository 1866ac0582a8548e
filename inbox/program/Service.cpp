#include "inbox/program/Service.h"

#include "inbox/http/HttpServer.h"
#include "inbox/http/ListenSocket.h"
#include "inbox/http/RequestLog.h"
#include "inbox/http/RequestMetrics.h"
#include "inbox/http/TlsCredentials.h"
#include "inbox/program/PageOpener.h"
#include "inbox/program/ProcessSignals.h"
#include "inbox/program/RequestRouter.h"
#include "inbox/storage/Storage.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimer>
#include <QUrl>

#include <cstdio>

#include <unistd.h>

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

/// Where a browser of this machine finds a service that listens at `url`.
QString localAddress(const QString& url)
{
    QUrl address(url);
    if (address.host() == u"0.0.0.0" || address.host() == u"::")
        address.setHost(u"localhost"_s);
    return address.toString();
}

void reload(const std::shared_ptr<TlsCredentials>& tls)
{
    if (!tls)
        return;
    if (const auto problem = tls->reload())
        std::fprintf(stderr,
                     "quibel-inbox: the certificate stays as it was: %s\n",
                     qUtf8Printable(*problem));
}

/// A figure of /proc/self/statm, in bytes.
double memoryInUse()
{
    QFile file(u"/proc/self/statm"_s);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toDouble() * static_cast<double>(::getpagesize());
}

QByteArray describeProcess(const RequestLog& log)
{
    return "# HELP quibel_inbox_build_info The running version.\n"
           "# TYPE quibel_inbox_build_info gauge\n"
           "quibel_inbox_build_info{version=\"" QUIBEL_VERSION "\"} 1\n"
        + RequestMetrics::sample("quibel_inbox_log_lines_dropped_total",
                                 "counter",
                                 "Lines of the request log that could not be written.",
                                 static_cast<double>(log.dropped()))
        + RequestMetrics::sample("process_resident_memory_bytes",
                                 "gauge",
                                 "Resident memory size in bytes.",
                                 memoryInUse());
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

    HttpServerOptions server { .behindProxy = options.behindProxy };
    if (tls) {
        auto loaded = TlsCredentials::load(
            { .certificate = options.certificateFile, .key = options.privateKeyFile });
        if (const auto* reason = std::get_if<QString>(&loaded))
            return *reason;
        server.tls = std::get<std::shared_ptr<TlsCredentials>>(loaded);
    }

    const ProcessSignals signals;
    auto opened = openListenSocket(options.listen);
    if (const auto* reason = std::get_if<QString>(&opened))
        return u"cannot listen on %1: %2"_s.arg(options.listen.toString(), *reason);
    auto& socket = std::get<ListenSocket>(opened);
    const auto url = (tls ? u"https://"_s : u"http://"_s) + socket.address.toString();
    if (const auto error = storage.settings.setValue(pageAddressSetting, localAddress(url)))
        return error->reason;

    RequestLog log;
    RequestMetrics metrics;
    server.log = &log;
    server.metrics = &metrics;
    metrics.add([&log] { return describeProcess(log); });
    RequestRouter router(database,
                         storage,
                         { .localNamesOnly = options.listen.isLoopback() && !options.behindProxy,
                           .metrics = [&metrics] { return metrics.text(); } });
    HttpServer http(
        [&router](const QList<HttpRequest>& requests) { return router.answer(requests); }, server);
    if (!http.start(std::move(socket)))
        return u"cannot start the HTTP server; are there enough file descriptors (ulimit -n)?"_s;

    QObject::connect(&signals, &ProcessSignals::endRequested, qApp, &QCoreApplication::quit);
    QObject::connect(
        &signals, &ProcessSignals::reloadRequested, &signals, [&server] { reload(server.tls); });
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
