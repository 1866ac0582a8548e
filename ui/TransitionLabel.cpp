#include "ui/TransitionLabel.h"

#include "ui/OneLineValidator.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <chrono>
#include <utility>

namespace quibel {

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds transitionTime = 60ms;
constexpr double transitionOffset = 2;

// Names come from the service, of any length; laying out a megabyte would hold the panel up.
constexpr qsizetype longestShown = 1000;

TransitionLabel::Content shownAs(TransitionLabel::Content content)
{
    content.text = oneLine(content.text.left(longestShown));
    return content;
}

QSize sizeOf(const TransitionLabel::Content& content)
{
    const QFontMetricsF metrics(content.style.font());
    return { qCeil(metrics.horizontalAdvance(content.text)), qCeil(metrics.height()) };
}

} // namespace

TransitionLabel::TransitionLabel(const Content& initial)
    : current(shownAs(initial))
{
    setTextFormat(Qt::PlainText);
    setText(current.text);
    setAccessibleName(initial.text);
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    transition.setStartValue(0.0);
    transition.setEndValue(1.0);
    transition.setDuration(static_cast<int>(transitionTime.count()));
    transition.setEasingCurve(QEasingCurve::OutQuad);
    connect(&transition, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
    connect(&transition, &QVariantAnimation::finished, this, [this] {
        leaving.reset();
        updateGeometry();
    });
}

void TransitionLabel::setContent(const Content& next)
{
    Content former = std::exchange(current, shownAs(next));
    setText(current.text);
    if (accessibleName() != next.text)
        setAccessibleName(next.text);
    if (current.identity != former.identity && isVisible()) {
        leaving = std::move(former);
        transition.stop();
        transition.start();
    }
    updateGeometry();
    update();
}

QSize TransitionLabel::sizeHint() const
{
    const QSize wanted = sizeOf(current);
    return leaving ? QSize(std::max(wanted.width(), sizeOf(*leaving).width()), wanted.height())
                   : wanted;
}

QSize TransitionLabel::minimumSizeHint() const
{
    return { 0, sizeHint().height() };
}

void TransitionLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    const double progress = leaving ? transition.currentValue().toDouble() : 1;
    if (leaving)
        paint(painter, *leaving, 1 - progress);
    paint(painter, current, progress);
}

void TransitionLabel::paint(QPainter& painter, const Content& shown, double presence) const
{
    const QFont font = shown.style.font();
    const QString text = QFontMetricsF(font).elidedText(shown.text, Qt::ElideRight, width());
    painter.setOpacity(presence);
    painter.setFont(font);
    painter.setPen(shown.style.color(palette()));
    // The layout's direction says where the text is, its own letters which way it runs.
    painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    const Qt::Alignment side = QStyle::visualAlignment(layoutDirection(), Qt::AlignLeading);
    const Qt::Alignment alignment = side | Qt::AlignAbsolute | Qt::AlignVCenter;
    painter.drawText(QRectF(rect()).translated(0, (1 - presence) * transitionOffset),
                     static_cast<int>(alignment.toInt()) | Qt::TextSingleLine | Qt::TextDontClip,
                     text);
}

} // namespace quibel
