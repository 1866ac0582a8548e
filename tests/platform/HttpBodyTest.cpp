#include "platform/HttpBody.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

QByteArray everyByte(qsizetype count)
{
    QByteArray bytes(count, Qt::Uninitialized);
    for (qsizetype i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(i * 7);
    return bytes;
}

/// The whole body, read in steps of so many bytes.
QByteArray readInSteps(const HttpBody& body, qint64 step)
{
    QByteArray all;
    QByteArray piece(step, Qt::Uninitialized);
    while (const qint64 count = body.copy(all.size(), piece.data(), step))
        all.append(piece.constData(), count);
    return all;
}

} // namespace

class HttpBodyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isWhatItsPiecesAreJoined_data()
    {
        QTest::addColumn<qsizetype>("count");
        for (const qsizetype count : { 0, 1, 2, 3, 4, 5, 6, 100, 256 })
            QTest::addRow("%d bytes", static_cast<int>(count)) << count;
    }

    void isWhatItsPiecesAreJoined()
    {
        QFETCH(qsizetype, count);
        const QByteArray bytes = everyByte(count);
        HttpBody body("begin "_ba);
        body.appendAsBase64(bytes);
        body.append(" middle ");
        body.appendAsBase64(bytes);
        body.append(" end");
        const QByteArray expected
            = "begin " + bytes.toBase64() + " middle " + bytes.toBase64() + " end";
        QCOMPARE(body.joined(), expected);
        QCOMPARE(body.size(), expected.size());
        for (const qint64 step : { 1, 2, 3, 4, 5, 7, 64, 1000 })
            QCOMPARE(readInSteps(body, step), expected);
    }

    void nothingIsReadBehindItsEnd()
    {
        char byte = 'x';
        HttpBody body("ab"_ba);
        body.appendAsBase64("c");
        QCOMPARE(body.copy(body.size(), &byte, 1), 0);
        QCOMPARE(body.copy(body.size() + 5, &byte, 1), 0);
        QCOMPARE(byte, 'x');
    }

    void isEmptyWithoutPieces()
    {
        QCOMPARE(HttpBody().size(), 0);
        QCOMPARE(HttpBody().joined(), QByteArray());
        QVERIFY(HttpBody() == HttpBody(QByteArray()));
    }

    void piecesOfOtherBytesOrEncodingMakeAnotherBody()
    {
        HttpBody encoded;
        encoded.appendAsBase64("ab");
        QVERIFY(encoded != HttpBody("ab"_ba));
        QVERIFY(HttpBody("ab"_ba) != HttpBody("ac"_ba));
        QVERIFY(HttpBody("ab"_ba) == HttpBody("ab"_ba));
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::HttpBodyTest)
#include "HttpBodyTest.moc"
