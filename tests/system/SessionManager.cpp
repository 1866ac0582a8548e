#include "tests/system/SessionManager.h"

#include <array>
#include <cstdlib>
#include <cstring>

#include <X11/ICE/ICEutil.h>

// Part of the library, but of none of its headers.
extern "C" int _IceTransNoListen(const char* transport); // NOLINT

namespace quibel::testing {

namespace {

SessionManager& manager(SmPointer pointer)
{
    return *static_cast<SessionManager*>(pointer);
}

/// Whoever can reach the socket may take part; only this machine can.
Bool acceptAnyHost(char* /*host*/)
{
    return True;
}

} // namespace

SessionManager::SessionManager()
{
    // The library would end this process when a client is gone.
    IceSetIOErrorHandler([](IceConn) {});
    for (const char* network : { "tcp", "inet", "inet6" })
        _IceTransNoListen(network);
    std::array<char, 256> error {};
    char vendor[] = "test"; // NOLINT(modernize-avoid-c-arrays)
    char release[] = "1";   // NOLINT(modernize-avoid-c-arrays)
    if (SmsInitialize(vendor, release, accept, this, acceptAnyHost, error.size(), error.data()) == 0
        || IceListenForConnections(&listenerCount, &listeners, error.size(), error.data()) == 0)
        return;
    for (int index = 0; index < listenerCount; ++index) {
        IceListenObj listener = listeners[index];
        IceSetHostBasedAuthProc(listener, acceptAnyHost);
        notifiers.push_back(std::make_unique<QSocketNotifier>(
            IceGetListenConnectionNumber(listener), QSocketNotifier::Read));
        QObject::connect(notifiers.back().get(),
                         &QSocketNotifier::activated,
                         notifiers.back().get(),
                         [this, listener] { answerConnection(listener); });
    }
    char* const ids = IceComposeNetworkIdList(listenerCount, listeners);
    networkIds = QString::fromLocal8Bit(ids);
    std::free(ids); // NOLINT(cppcoreguidelines-no-malloc): libSM allocates it
}

SessionManager::~SessionManager()
{
    notifiers.clear();
    IceFreeListenObjs(listenerCount, listeners);
}

void SessionManager::answerConnection(IceListenObj listener)
{
    IceAcceptStatus status = IceAcceptFailure;
    if (IceConn connection = IceAcceptConnection(listener, &status); connection != nullptr)
        watch(connection);
}

void SessionManager::watch(IceConn connection)
{
    notifiers.push_back(
        std::make_unique<QSocketNotifier>(IceConnectionNumber(connection), QSocketNotifier::Read));
    QSocketNotifier* const notifier = notifiers.back().get();
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [this, connection, notifier] {
        if (IceProcessMessages(connection, nullptr, nullptr) == IceProcessMessagesSuccess)
            return;
        notifier->setEnabled(false);
        client = nullptr;
        IceSetShutdownNegotiation(connection, False);
        IceCloseConnection(connection);
    });
}

Status SessionManager::accept(SmsConn connection,
                              SmPointer self,
                              unsigned long* mask,
                              SmsCallbacks* callbacks,
                              char** /*refusal*/)
{
    manager(self).client = connection;
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask
        | SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask
        | SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask
        | SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
    std::memset(callbacks, 0, sizeof *callbacks);
    callbacks->register_client
        = { [](SmsConn asking, SmPointer, char* previous) -> Status {
               std::free(previous); // NOLINT(cppcoreguidelines-no-malloc): libSM allocates it
               char* const id = SmsGenerateClientID(asking);
               SmsRegisterClientReply(asking, id);
               std::free(id); // NOLINT(cppcoreguidelines-no-malloc): libSM allocates it
               SmsSaveYourself(asking, SmSaveLocal, False, SmInteractStyleNone, False);
               return 1;
           },
            self };
    callbacks->interact_request = { [](SmsConn, SmPointer, int) {}, self };
    callbacks->interact_done = { [](SmsConn, SmPointer, Bool) {}, self };
    callbacks->save_yourself_request
        = { [](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}, self };
    callbacks->save_yourself_phase2_request
        = { [](SmsConn asking, SmPointer) { SmsSaveYourselfPhase2(asking); }, self };
    callbacks->save_yourself_done = { [](SmsConn asking, SmPointer pointer, Bool success) {
                                         manager(pointer).saved = success != False;
                                         SmsSaveComplete(asking);
                                     },
                                      self };
    callbacks->close_connection
        = { [](SmsConn closing, SmPointer pointer, int count, char** reasons) {
               SmFreeReasons(count, reasons);
               manager(pointer).client = nullptr;
               SmsCleanUp(closing);
           },
            self };
    callbacks->set_properties
        = { [](SmsConn, SmPointer pointer, int count, SmProp** properties) {
               for (int index = 0; index < count; ++index) {
                   const SmProp& property = *properties[index];
                   if (std::strcmp(property.name, SmRestartStyleHint) == 0)
                       manager(pointer).style = *static_cast<const char*>(property.vals->value);
                   SmFreeProperty(properties[index]);
               }
               std::free(properties); // NOLINT(cppcoreguidelines-no-malloc): libSM allocates it
           },
            self };
    callbacks->delete_properties
        = { [](SmsConn, SmPointer, int count, char** names) { SmFreeReasons(count, names); },
            self };
    callbacks->get_properties = { [](SmsConn, SmPointer) {}, self };
    return 1;
}

void SessionManager::logOut()
{
    saved = false;
    SmsSaveYourself(client, SmSaveBoth, True, SmInteractStyleAny, False);
}

void SessionManager::endSession()
{
    SmsDie(client);
}

} // namespace quibel::testing
