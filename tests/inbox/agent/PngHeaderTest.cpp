#include "inbox/agent/PngHeader.h"
#include "tests/inbox/agent/SampleDocuments.h"

#include <QTest>

namespace quibel::inbox {

using namespace testing;

class PngHeaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheSize_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QSize>("size");
        const auto good = samplePng({ 640, 480 });
        QTest::newRow("a picture") << good << QSize(640, 480);
        QTest::newRow("only its header") << good.left(33) << QSize(640, 480);
        QTest::newRow("large") << samplePng({ 2147483647, 1 }) << QSize(2147483647, 1);
        QTest::newRow("nothing") << QByteArray() << QSize();
        QTest::newRow("cut off in the header") << good.left(32) << QSize();
        QTest::newRow("no width") << samplePng({ 0, 480 }) << QSize();
        QTest::newRow("no height") << samplePng({ 640, 0 }) << QSize();
        QTest::newRow("negative") << samplePng({ -1, 480 }) << QSize();
        QTest::newRow("spoilt by a text transfer")
            << QByteArray(good).replace("\r\n", "\n") << QSize();
        QTest::newRow("another first chunk") << QByteArray(good).replace("IHDR", "IDAT") << QSize();
        QTest::newRow("JPEG") << QByteArray("\xff\xd8\xff\xe0").append(100, '\0') << QSize();
    }
    void readsTheSize()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QSize, size);
        QCOMPARE(readPngSize(bytes).value_or(QSize()), size);
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::PngHeaderTest)
#include "PngHeaderTest.moc"
