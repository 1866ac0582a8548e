#include "ui/TransitionLabel.h"

#include <QAbstractAnimation>
#include <QApplication>
#include <QBoxLayout>
#include <QImage>
#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr TextStyle style { .size = 12, .foreground = Foreground::primary };

TransitionLabel::Content content(const QString& identity, const QString& text)
{
    return { .identity = identity, .text = text, .style = style };
}

void moveTo(QVariantAnimation& transition, int milliseconds)
{
    transition.pause();
    transition.setCurrentTime(milliseconds);
}

} // namespace

/// A label on screen whose transition the test moves by hand.
struct Bench
{
    TransitionLabel label { content(u"1"_s, u"HHHH"_s) };
    QVariantAnimation& transition { *label.findChild<QVariantAnimation*>() };

    Bench()
    {
        label.setAutoFillBackground(true);
        label.show();
        QVERIFY(QTest::qWaitForWindowExposed(&label));
    }

    [[nodiscard]] QImage picture() { return label.grab().toImage(); }

    void moveTo(int milliseconds) { ::quibel::moveTo(transition, milliseconds); }

    /// How dark the picture is, and the first row from the top that is not background.
    [[nodiscard]] std::pair<qint64, int> ink()
    {
        const QImage image = picture().convertToFormat(QImage::Format_Grayscale8);
        qint64 darkness = 0;
        int top = image.height();
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const int dark = qGray(image.pixel(0, 0)) - qGray(image.pixel(x, y));
                darkness += dark;
                if (dark > 0)
                    top = std::min(top, y);
            }
        return { darkness, top };
    }
};

/// The same label in a row that gives it the width it asks for, with room to spare.
struct Row
{
    QWidget window;
    TransitionLabel* label = new TransitionLabel(content(u"1"_s, u"A long name"_s));
    QVariantAnimation& transition { *label->findChild<QVariantAnimation*>() };

    explicit Row(Qt::LayoutDirection direction)
    {
        window.setLayoutDirection(direction);
        auto* layout = new QHBoxLayout(&window);
        layout->addWidget(label);
        layout->addStretch();
        window.resize(400, 40);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }

    [[nodiscard]] QImage picture()
    {
        // What the label asks for reaches the row as a posted event.
        QCoreApplication::sendPostedEvents();
        return window.grab().toImage();
    }
};

class TransitionLabelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsItsFirstTextAtOnce()
    {
        Bench bench;
        QCOMPARE(bench.transition.state(), QAbstractAnimation::Stopped);
        QVERIFY(bench.ink().first > 0);
    }

    void showsATextOfTheSameIdentityAtOnce()
    {
        Bench bench;
        const QImage before = bench.picture();
        bench.label.setContent(content(u"1"_s, u"LLLL"_s));
        QCOMPARE(bench.transition.state(), QAbstractAnimation::Stopped);
        QCOMPARE(bench.label.text(), u"LLLL"_s);
        QVERIFY(bench.picture() != before);
    }

    void fadesTheNewTextInFromBelowAndTheOldOneOut()
    {
        Bench bench;
        const auto [full, top] = bench.ink();
        bench.label.setContent(content(u"2"_s, u""_s));
        QCOMPARE(bench.transition.state(), QAbstractAnimation::Running);
        QCOMPARE(bench.transition.duration(), 60);
        bench.moveTo(0);
        QCOMPARE(bench.ink(), std::pair(full, top));
        bench.moveTo(30);
        const auto [leavingInk, leavingTop] = bench.ink();
        QVERIFY(leavingInk > 0 && leavingInk < full / 2);
        QVERIFY(leavingTop > top);
        bench.moveTo(59);
        bench.transition.resume();
        QTRY_COMPARE(bench.transition.state(), QAbstractAnimation::Stopped);
        QCOMPARE(bench.ink().first, 0);

        bench.label.setContent(content(u"1"_s, u"HHHH"_s));
        bench.moveTo(0);
        QCOMPARE(bench.ink().first, 0);
        bench.moveTo(30);
        const auto [arrivingInk, arrivingTop] = bench.ink();
        QVERIFY(arrivingInk > full / 2 && arrivingInk < full);
        bench.moveTo(10);
        QVERIFY(bench.ink().second > top);
        bench.transition.resume();
        QTRY_COMPARE(bench.transition.state(), QAbstractAnimation::Stopped);
        QCOMPARE(bench.ink(), std::pair(full, top));
    }

    void doesNotCutTheOldTextToTheWidthOfTheNewOne_data()
    {
        QTest::addColumn<Qt::LayoutDirection>("direction");
        QTest::newRow("from the left") << Qt::LeftToRight;
        QTest::newRow("from the right") << Qt::RightToLeft;
    }

    void doesNotCutTheOldTextToTheWidthOfTheNewOne()
    {
        QFETCH(const Qt::LayoutDirection, direction);
        Row row(direction);
        const QImage before = row.picture();
        row.label->setContent(content(u"2"_s, u"i"_s));
        moveTo(row.transition, 0);
        QCOMPARE(row.picture(), before);
        moveTo(row.transition, 59);
        row.transition.resume();
        QTRY_COMPARE(row.transition.state(), QAbstractAnimation::Stopped);
        QTRY_COMPARE(row.label->width(), row.label->sizeHint().width());
        QVERIFY(row.label->width() < 20);
    }

    void movesFastAtFirst()
    {
        const Bench bench;
        QCOMPARE(bench.transition.easingCurve().type(), QEasingCurve::OutQuad);
    }

    void startsAgainForAThirdText()
    {
        Bench bench;
        bench.label.setContent(content(u"2"_s, u"LLLL"_s));
        bench.moveTo(40);
        bench.label.setContent(content(u"3"_s, u"TTTT"_s));
        QCOMPARE(bench.transition.state(), QAbstractAnimation::Running);
        QVERIFY(bench.transition.currentTime() < 40);
        QTRY_COMPARE(bench.transition.state(), QAbstractAnimation::Stopped);
        TransitionLabel fresh(content(u"3"_s, u"TTTT"_s));
        fresh.setAutoFillBackground(true);
        fresh.resize(bench.label.size());
        QCOMPARE(bench.picture(), fresh.grab().toImage());
    }

    void changesAtOnceWhileItIsHidden()
    {
        TransitionLabel label(content(u"1"_s, u"HHHH"_s));
        label.setContent(content(u"2"_s, u"LLLL"_s));
        QCOMPARE(label.findChild<QVariantAnimation*>()->state(), QAbstractAnimation::Stopped);
        QCOMPARE(label.text(), u"LLLL"_s);
    }

    void keepsToOneLine()
    {
        const TransitionLabel two(content(u"1"_s, u"a\nb"_s));
        const TransitionLabel one(content(u"1"_s, u"a b"_s));
        QCOMPARE(two.text(), u"a b"_s);
        QCOMPARE(two.sizeHint(), one.sizeHint());
    }

    void elidesWhatDoesNotFit()
    {
        Bench bench;
        bench.label.setContent(content(u"1"_s, QString(100, u'H')));
        bench.label.resize(60, bench.label.height());
        const QImage elided = bench.picture();
        const QString expected
            = QFontMetricsF(style.font()).elidedText(QString(100, u'H'), Qt::ElideRight, 60);
        QVERIFY(expected.endsWith(u'…'));
        bench.label.setContent(content(u"1"_s, expected));
        QCOMPARE(bench.picture(), elided);
    }

    void drawsNoMnemonicsAndNoMarkup()
    {
        Bench bench;
        bench.label.setContent(content(u"1"_s, u"<b>&H</b>"_s));
        QCOMPARE(bench.label.sizeHint().width(),
                 qCeil(QFontMetricsF(style.font()).horizontalAdvance(u"<b>&H</b>"_s)));
        bench.label.adjustSize();
        const QImage literal = bench.picture();
        bench.label.setContent(content(u"1"_s, u"H"_s));
        QVERIFY(bench.picture() != literal);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::TransitionLabelTest)
#include "TransitionLabelTest.moc"
