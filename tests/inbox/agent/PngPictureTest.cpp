#include "inbox/agent/PngPicture.h"
#include "tests/inbox/agent/SampleDocuments.h"

#include <QTest>

namespace quibel::inbox {

using namespace testing;

class PngPictureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheSize_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QSize>("size");
        const auto good = samplePng({ 640, 480 });
        const auto start = good.left(8);
        const auto header = good.mid(8, 25);
        const auto pixels = pngChunk("IDAT", "x");
        const auto end = pngChunk("IEND", {});
        const auto withSize = [&](const QByteArray& width) {
            return start + pngChunk("IHDR", width + QByteArray("\0\0\1\xe0\x08\x06\0\0\0", 9))
                + pixels + end;
        };
        QTest::newRow("a picture") << good << QSize(640, 480);
        QTest::newRow("large") << samplePng({ 2147483647, 1 }) << QSize(2147483647, 1);
        QTest::newRow("pixels in two parts")
            << start + header + pixels + pixels + end << QSize(640, 480);
        QTest::newRow("more about it")
            << start + header + pngChunk("tEXt", "a") + pixels + pngChunk("teXt", "b") + end
            << QSize(640, 480);
        QTest::newRow("nothing") << QByteArray() << QSize();
        QTest::newRow("only its signature") << start << QSize();
        QTest::newRow("only its header") << start + header << QSize();
        QTest::newRow("no pixels") << start + header + end << QSize();
        QTest::newRow("no end") << start + header + pixels << QSize();
        QTest::newRow("more behind its end") << good + 'x' << QSize();
        QTest::newRow("two ends") << good + end << QSize();
        QTest::newRow("an end with something in it")
            << start + header + pixels + pngChunk("IEND", "x") << QSize();
        QTest::newRow("two headers") << start + header + header + pixels + end << QSize();
        QTest::newRow("pixels before the header") << start + pixels + header + end << QSize();
        QTest::newRow("a short header")
            << start + pngChunk("IHDR", QByteArray(12, 1)) + pixels + end << QSize();
        QTest::newRow("a long header")
            << start + pngChunk("IHDR", QByteArray(14, 1)) + pixels + end << QSize();
        QTest::newRow("a chunk without a name")
            << start + header + pngChunk(QByteArray("\0\1\2\3", 4), "x") + pixels + end << QSize();
        QTest::newRow("a chunk longer than the file")
            << start + header + bigEndian(0xffffffffU) + "IDAT" << QSize();
        QTest::newRow("no width") << samplePng({ 0, 480 }) << QSize();
        QTest::newRow("no height") << samplePng({ 640, 0 }) << QSize();
        QTest::newRow("negative") << samplePng({ -1, 480 }) << QSize();
        QTest::newRow("one too wide") << withSize(bigEndian(0x80000000U)) << QSize();
        QTest::newRow("spoilt by a text transfer")
            << QByteArray(good).replace("\r\n", "\n") << QSize();
        QTest::newRow("JPEG") << QByteArray("\xff\xd8\xff\xe0").append(100, '\0') << QSize();
    }
    void readsTheSize()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QSize, size);
        QCOMPARE(checkPng(bytes).value_or(QSize()), size);
    }

    void takesNoPictureThatWasCutOff()
    {
        const auto whole = samplePng({ 640, 480 }, 50);
        for (qsizetype length = 0; length < whole.size(); ++length)
            QVERIFY2(!checkPng(whole.left(length)), qPrintable(QString::number(length)));
    }

    void takesNoPictureWithAWrongByte()
    {
        const auto whole = samplePng({ 640, 480 }, 50);
        for (qsizetype place = 0; place < whole.size(); ++place) {
            auto spoilt = whole;
            spoilt[place] = static_cast<char>(spoilt.at(place) ^ 0x10);
            QVERIFY2(!checkPng(spoilt), qPrintable(QString::number(place)));
        }
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::PngPictureTest)
#include "PngPictureTest.moc"
