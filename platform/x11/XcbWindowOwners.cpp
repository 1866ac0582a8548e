#include "platform/x11/XcbWindowOwners.h"

#include "platform/x11/XcbProperty.h"

#include <QHash>
#include <QSysInfo>

#include <set>

namespace quibel {

namespace {

bool knowsProcesses(xcb_connection_t* connection)
{
    const auto* extension = xcb_get_extension_data(connection, &xcb_res_id);
    if (extension == nullptr || extension->present == 0)
        return false;
    const auto version = xcbReply(
        xcb_res_query_version_reply, connection, xcb_res_query_version(connection, 1, 2));
    return version
        && (version->server_major > 1
            || (version->server_major == 1 && version->server_minor >= 2));
}

} // namespace

XcbWindowOwners::XcbWindowOwners(XcbConnection& connection)
    : x(connection)
    , serverTells(knowsProcesses(connection.get()))
    , netWmPid(connection.atom("_NET_WM_PID"))
    , machine(QSysInfo::machineHostName().toLocal8Bit())
{
}

XcbWindowOwners::Question XcbWindowOwners::ask(std::span<const xcb_window_t> windows)
{
    Question question;
    std::set<xcb_window_t> clients;
    for (const xcb_window_t window : windows) {
        question.windows.push_back(
            { .window = window,
              .statedProcess = askProperty(x.get(), window, netWmPid),
              .statedMachine = askProperty(x.get(), window, XCB_ATOM_WM_CLIENT_MACHINE) });
        clients.insert(clientOf(window));
    }
    if (!serverTells)
        return question;
    std::vector<xcb_res_client_id_spec_t> wanted;
    wanted.reserve(clients.size());
    for (const xcb_window_t client : clients)
        wanted.push_back({ .client = client, .mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID });
    question.clients = xcb_res_query_client_ids(
        x.get(), static_cast<std::uint32_t>(wanted.size()), wanted.data());
    return question;
}

std::vector<std::optional<ProcessIdentifier>> XcbWindowOwners::answer(const Question& question)
{
    QHash<xcb_window_t, ProcessIdentifier> known;
    if (question.clients) {
        const auto reply = xcbReply(xcb_res_query_client_ids_reply, x.get(), *question.clients);
        auto each = reply ? xcb_res_query_client_ids_ids_iterator(reply.get())
                          : xcb_res_client_id_value_iterator_t {};
        for (; each.rem > 0; xcb_res_client_id_value_next(&each))
            if (xcb_res_client_id_value_value_length(each.data) > 0)
                known.insert(
                    each.data->spec.client,
                    static_cast<ProcessIdentifier>(*xcb_res_client_id_value_value(each.data)));
    }
    std::vector<std::optional<ProcessIdentifier>> owners;
    owners.reserve(question.windows.size());
    for (const auto& asked : question.windows) {
        const XcbProperty process(x.get(), asked.statedProcess);
        const XcbProperty where(x.get(), asked.statedMachine);
        std::optional<ProcessIdentifier> owner;
        if (const auto client = known.constFind(clientOf(asked.window)); client != known.constEnd())
            owner = *client;
        else if (where.bytes() == machine && process.firstValue())
            owner = static_cast<ProcessIdentifier>(*process.firstValue());
        owners.push_back(owner);
    }
    return owners;
}

/// The server hands each client one range of identifiers and names the client by its first.
xcb_window_t XcbWindowOwners::clientOf(xcb_window_t window) const
{
    return window & ~xcb_get_setup(x.get())->resource_id_mask;
}

} // namespace quibel
