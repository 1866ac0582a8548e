#pragma once

#include <QByteArray>

#include <chrono>

namespace quibel::inbox {

/// What logs and metrics are told of a request that was answered: nothing that it carried.
struct RequestRecord
{
    QByteArray method; ///< "other" when HTTP does not define it.
    QByteArray route;  ///< The kind of path; "other" when it is none of ours.
    int status = 0;
    std::chrono::microseconds duration {};
    qsizetype bytesIn = 0;  ///< Of the body.
    qsizetype bytesOut = 0; ///< Of the body.
    bool isStream = false;  ///< It went on for as long as the client liked.
    QByteArray client {};
};

} // namespace quibel::inbox
