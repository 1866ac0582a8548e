#pragma once

#include "platform/HttpSession.h"
#include "tests/fakes/Journal.h"

#include <QObject>

#include <map>

namespace quibel {

/// Records requests; the test answers them one by one, in any order.
class FakeHttpSession final : public HttpSession
{
public:
    void send(const HttpRequest& request, Completion completion) override
    {
        note(journal, QString::fromLatin1(request.method) + u' ' + request.url.path());
        outstanding.emplace(requests.size(), std::move(completion));
        requests.push_back(request);
    }

    /// Ends the request at `index` of `requests`, in a later turn of the event loop.
    void answer(std::size_t index, const HttpOutcome& outcome)
    {
        const auto entry = outstanding.find(index);
        Q_ASSERT(entry != outstanding.end());
        QMetaObject::invokeMethod(
            &context,
            [completion = std::move(entry->second), outcome] { completion(outcome); },
            Qt::QueuedConnection);
        outstanding.erase(entry);
    }

    /// Ends the oldest request that has no answer yet.
    void answerNext(const HttpOutcome& outcome)
    {
        Q_ASSERT(!outstanding.empty());
        answer(outstanding.begin()->first, outcome);
    }

    [[nodiscard]] static HttpOutcome success(int status, const QByteArray& body)
    {
        return { .error = {}, .status = status, .body = body };
    }

    [[nodiscard]] static HttpOutcome failure(TransportErrorCode code)
    {
        return { .error = TransportError { .code = code, .localizedDescription = {} },
                 .status = {},
                 .body = {} };
    }

    std::vector<HttpRequest> requests;
    Journal* journal = nullptr;

private:
    std::map<std::size_t, Completion> outstanding;
    QObject context;
};

} // namespace quibel
