#include "platform/qt/QtConnectivity.h"

#include <QNetworkInformation>

#include <utility>

namespace quibel {

namespace {

/// A service within reach of the site needs no internet.
bool isConnected(QNetworkInformation::Reachability reachability)
{
    return reachability == QNetworkInformation::Reachability::Site
        || reachability == QNetworkInformation::Reachability::Online;
}

} // namespace

void QtConnectivity::whenConnected(QObject& owner, std::function<void()> connected)
{
    if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability))
        return;
    const QNetworkInformation* const network = QNetworkInformation::instance();
    if (isConnected(network->reachability()))
        QMetaObject::invokeMethod(&owner, connected, Qt::QueuedConnection);
    QObject::connect(
        network,
        &QNetworkInformation::reachabilityChanged,
        &owner,
        [connected = std::move(connected)](QNetworkInformation::Reachability reachability) {
            if (isConnected(reachability))
                connected();
        },
        Qt::QueuedConnection);
}

} // namespace quibel
