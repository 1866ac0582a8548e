#include "inbox/program/Service.h"

#include "inbox/agent/AgentApi.h"
#include "inbox/http/HttpServer.h"
#include "inbox/http/ListenSocket.h"
#include "inbox/program/TerminationSignals.h"

#include <QCoreApplication>

#include <cstdio>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

std::optional<QString> serve(BranchStorage& storage, const ListenAddress& address)
{
    if (!address.isLoopback())
        return u"%1 can be reached from other machines, and keys and texts would travel "
               u"unprotected; listen on 127.0.0.1 or [::1]"_s.arg(address.toString());

    const TerminationSignals signals;
    auto opened = openListenSocket(address);
    if (const auto* reason = std::get_if<QString>(&opened))
        return u"cannot listen on %1: %2"_s.arg(address.toString(), *reason);
    auto& socket = std::get<ListenSocket>(opened);
    const auto url = u"http://"_s + socket.address.toString();

    AgentApi api(storage);
    HttpServer server([&api](const HttpRequest& request) { return api.answer(request); }, {});
    if (!server.start(std::move(socket)))
        return u"cannot start the HTTP server"_s;
    QObject::connect(&signals, &TerminationSignals::received, qApp, &QCoreApplication::quit);

    std::printf("listening on %s\n", qUtf8Printable(url));
    std::fflush(stdout);
    QCoreApplication::exec();
    return {};
}

} // namespace quibel::inbox
