#include "ui/CapturePanel.h"

#include "platform/TracePoint.h"
#include "ui/CapturePanelView.h"
#include "ui/PanelFrame.h"

#include <QCloseEvent>
#include <QPainter>

#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize emptySize(320, 60);

} // namespace

CapturePanel::CapturePanel()
    : PanelPart(nullptr, Qt::Window | Qt::FramelessWindowHint)
{
    setAccessibleName(u"Quibel"_s);
    setAttribute(Qt::WA_TranslucentBackground);
    resize(emptySize);
    create();
}

void CapturePanel::setContentView(std::unique_ptr<CapturePanelView> view)
{
    CapturePanelView* former = std::exchange(contentView, view.release());
    contentView->setParent(this);
    contentView->adjustSize();
    fitContentView();
    setShown(*contentView, true);
    if (former) {
        setShown(*former, false);
        // The former view may be the one whose key press led here.
        former->deleteLater();
    }
}

void CapturePanel::setFloating(bool nowFloating)
{
    floating = nowFloating;
    if (contentView)
        fitContentView();
}

QRect CapturePanel::frame() const
{
    return floating ? rect() - shadowMargins : rect();
}

void CapturePanel::fitContentView()
{
    const QMargins around = floating ? shadowMargins : QMargins();
    contentView->move(around.left(), around.top());
    setFixedSize(contentView->size().grownBy(around));
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
    if (floating)
        paintFloatingFrame(painter, frame(), palette());
    else
        paintSquareFrame(painter, frame(), palette());
}

} // namespace quibel
