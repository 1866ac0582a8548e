#include "tests/system/AgentFootprint.h"

#include "platform/x11/XcbConnection.h"

#include <QDir>
#include <QFile>

#include <xcb/res.h>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

// What is made once for each, such as the cursor over a text field.
constexpr qint64 allowance = 2;
constexpr qint64 memoryAllowanceKiB = 8192;
// The address sanitizer keeps 12 KiB for itself; without it nothing grows in 1500 steps.
constexpr qint64 memoryAllowancePerStepKiB = 24;

qint64 statusValue(const QByteArray& status, const QByteArray& name)
{
    const qsizetype begin = status.indexOf('\n' + name + ':');
    if (begin < 0)
        return 0;
    const QByteArray line = status.sliced(begin + 1 + name.size() + 1);
    return line.first(line.indexOf('\n')).simplified().split(' ').first().toLongLong();
}

bool belongsTo(pid_t process, xcb_connection_t* x, std::uint32_t client)
{
    const xcb_res_client_id_spec_t wanted { .client = client,
                                            .mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID };
    const auto reply
        = xcbReply(xcb_res_query_client_ids_reply, x, xcb_res_query_client_ids(x, 1, &wanted));
    auto id = reply ? xcb_res_query_client_ids_ids_iterator(reply.get())
                    : xcb_res_client_id_value_iterator_t {};
    for (; id.rem > 0; xcb_res_client_id_value_next(&id))
        if (xcb_res_client_id_value_value_length(id.data) > 0
            && static_cast<pid_t>(*xcb_res_client_id_value_value(id.data)) == process)
            return true;
    return false;
}

void addResources(std::map<QByteArray, int>& counts, xcb_connection_t* x, std::uint32_t client)
{
    const auto reply = xcbReply(
        xcb_res_query_client_resources_reply, x, xcb_res_query_client_resources(x, client));
    const auto* type = reply ? xcb_res_query_client_resources_types(reply.get()) : nullptr;
    const int length = reply ? xcb_res_query_client_resources_types_length(reply.get()) : 0;
    for (int index = 0; index < length; ++index, ++type) {
        const auto name
            = xcbReply(xcb_get_atom_name_reply, x, xcb_get_atom_name(x, type->resource_type));
        if (name)
            counts[{ xcb_get_atom_name_name(name.get()),
                     xcb_get_atom_name_name_length(name.get()) }]
                += static_cast<int>(type->count);
    }
}

} // namespace

std::optional<AgentFootprint> AgentFootprint::of(pid_t process)
{
    const QString directory = u"/proc/%1"_s.arg(process);
    QFile file(directory + u"/status"_s);
    const auto x = XcbConnection::open();
    if (!file.open(QIODevice::ReadOnly) || !x)
        return std::nullopt;
    const QByteArray status = file.readAll();
    AgentFootprint footprint {
        .residentKiB = statusValue(status, "VmRSS"),
        .descriptors
        = static_cast<int>(QDir(directory + u"/fd"_s)
                               .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                               .size()),
        .threads = static_cast<int>(statusValue(status, "Threads")),
        .serverResources = {},
    };
    const auto clients
        = xcbReply(xcb_res_query_clients_reply, x->get(), xcb_res_query_clients(x->get()));
    const auto* client = clients ? xcb_res_query_clients_clients(clients.get()) : nullptr;
    const int length = clients ? xcb_res_query_clients_clients_length(clients.get()) : 0;
    for (int index = 0; index < length; ++index, ++client)
        if (belongsTo(process, x->get(), client->resource_base))
            addResources(footprint.serverResources, x->get(), client->resource_base);
    return footprint.serverResources.empty() ? std::nullopt : std::optional(footprint);
}

QString AgentFootprint::growthSince(const AgentFootprint& earlier, int steps) const
{
    QStringList growth;
    const auto compare = [&](const QString& what, qint64 before, qint64 now, qint64 most) {
        if (now > before + most)
            growth.append(u"%1 from %2 to %3"_s.arg(what).arg(before).arg(now));
    };
    compare(u"resident KiB"_s,
            earlier.residentKiB,
            residentKiB,
            memoryAllowanceKiB + (steps * memoryAllowancePerStepKiB));
    compare(u"descriptors"_s, earlier.descriptors, descriptors, allowance);
    compare(u"threads"_s, earlier.threads, threads, allowance);
    for (const auto& [kind, count] : serverResources) {
        const auto before = earlier.serverResources.find(kind);
        compare(QString::fromLatin1(kind),
                before == earlier.serverResources.end() ? 0 : before->second,
                count,
                allowance);
    }
    return growth.join(u", "_s);
}

QString AgentFootprint::text() const
{
    QString text
        = u"%1 KiB, %2 descriptors, %3 threads"_s.arg(residentKiB).arg(descriptors).arg(threads);
    for (const auto& [kind, count] : serverResources)
        text += u", %1 %2"_s.arg(QString::fromLatin1(kind)).arg(count);
    return text;
}

} // namespace quibel::testing
