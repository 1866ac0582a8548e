#include "account/APIError.h"

#include <QTest>

namespace quibel {

using Code = TransportErrorCode;

namespace {

const std::vector<Code> offlineCodes { Code::notConnectedToInternet,
                                       Code::cannotFindHost,
                                       Code::cannotConnectToHost,
                                       Code::timedOut,
                                       Code::dnsLookupFailed };
const std::vector<Code> networkCodes {
    Code::networkConnectionLost, Code::secureConnectionFailed, Code::requestRefused, Code::other
};

std::optional<APIError> classify(std::optional<Code> code, std::optional<int> status)
{
    HttpOutcome outcome { .error = {}, .status = status, .body = "[]" };
    if (code)
        outcome.error = TransportError { .code = *code, .localizedDescription = {} };
    return classifyResponse(outcome);
}

} // namespace

class APIErrorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isUnauthorizedAt401WhateverTheError()
    {
        QCOMPARE(classify({}, 401), APIError::unauthorized);
        QCOMPARE(classify(Code::timedOut, 401), APIError::unauthorized);
        QCOMPARE(classify(Code::secureConnectionFailed, 401), APIError::unauthorized);
        QCOMPARE(classify(Code::responseTooLarge, 401), APIError::unauthorized);
        QCOMPARE(classify(Code::unknown, 401), APIError::unauthorized);
    }

    void isOfflineWhenTheMachineCannotReachTheService()
    {
        for (const Code code : offlineCodes) {
            QCOMPARE(classify(code, {}), APIError::offline);
            QCOMPARE(classify(code, 500), APIError::offline);
        }
    }

    void isNetworkForAnyOtherFailureOfLoading()
    {
        for (const Code code : networkCodes) {
            QCOMPARE(classify(code, {}), APIError::network);
            QCOMPARE(classify(code, 200), APIError::network);
            QCOMPARE(classify(code, 500), APIError::network);
        }
    }

    void isServerWhenTheAnswerIsTooLarge()
    {
        QCOMPARE(classify(Code::responseTooLarge, {}), APIError::server);
        QCOMPARE(classify(Code::responseTooLarge, 200), APIError::server);
    }

    void letsAStatusOutside2xxOverruleAFailureOfAnotherKind()
    {
        QCOMPARE(classify(Code::unknown, {}), APIError::network);
        QCOMPARE(classify(Code::unknown, 200), APIError::network);
        QCOMPARE(classify(Code::unknown, 500), APIError::server);
    }

    void judgesTheStatusWhenNothingElseFailed_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<std::optional<APIError>>("expected");
        const auto row = [](int status, std::optional<APIError> expected) {
            QTest::addRow("%d", status) << status << expected;
        };
        row(100, APIError::server);
        row(199, APIError::server);
        row(200, {});
        row(201, {});
        row(204, {});
        row(299, {});
        row(300, APIError::server);
        row(302, APIError::server);
        row(400, APIError::server);
        row(401, APIError::unauthorized);
        row(403, APIError::server);
        row(500, APIError::server);
    }

    void judgesTheStatusWhenNothingElseFailed()
    {
        QFETCH(const int, status);
        QFETCH(const std::optional<APIError>, expected);
        QCOMPARE(classify({}, status), expected);
    }

    void leavesAnAnswerWithoutStatusToTheCaller() { QCOMPARE(classify({}, {}), std::nullopt); }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::APIErrorTest)
#include "APIErrorTest.moc"
