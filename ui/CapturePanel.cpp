#include "ui/CapturePanel.h"

#include "platform/TracePoint.h"
#include "ui/CapturePanelView.h"

#include <QCloseEvent>
#include <QPainter>

#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize emptySize(320, 60);
constexpr float lineShare = 0.3F;

} // namespace

CapturePanel::CapturePanel()
    : PanelPart(nullptr, Qt::Window | Qt::FramelessWindowHint)
{
    setAccessibleName(u"Quibel"_s);
    resize(emptySize);
    create();
}

void CapturePanel::setContentView(std::unique_ptr<CapturePanelView> view)
{
    CapturePanelView* former = std::exchange(contentView, view.release());
    contentView->setParent(this);
    contentView->adjustSize();
    setFixedSize(contentView->size());
    setShown(*contentView, true);
    if (former) {
        setShown(*former, false);
        // The former view may be the one whose key press led here.
        former->deleteLater();
    }
}

void CapturePanel::closeEvent(QCloseEvent* event)
{
    event->accept();
    if (isVisible() && contentView)
        contentView->cancel();
}

void CapturePanel::paintEvent(QPaintEvent* /*event*/)
{
    tracePoint("paint");
    QPainter painter(this);
    QColor line = palette().color(QPalette::WindowText);
    line.setAlphaF(lineShare);
    painter.setPen(line);
    painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}

} // namespace quibel
