#include "tests/system/MarkedWindow.h"

#include <QGuiApplication>
#include <QPainter>

#include <algorithm>
#include <array>

namespace quibel::testing {

namespace {

// Two, so far from each other that the panel never lies on both: it may still be in a picture when
// this process has not yet got round to drawing what was below.
constexpr std::array marks { QRect(0, 60, 400, 20), QRect(0, 280, 400, 20) };
constexpr int shortestMark = 100;
constexpr int markGreen = 0xc3;
constexpr int numbersPerRed = 256;

QRgb colorOf(int number)
{
    return qRgb(number / numbersPerRed, markGreen, number % numbersPerRed);
}

int runLength(const QImage& picture, QPoint from)
{
    const QRgb color = picture.pixel(from);
    int length = 0;
    while (from.x() + length < picture.width()
           && picture.pixel(from.x() + length, from.y()) == color)
        ++length;
    return length;
}

} // namespace

MarkedWindow::MarkedWindow(const QString& title)
    : EditorWindow(title)
{
    // Window managers that tile leave a window of a fixed size as it is.
    setFixedSize(size());
}

void MarkedWindow::mark(int number, const QString& title)
{
    shown = number;
    setWindowTitle(title);
    repaint();
    QGuiApplication::sync();
}

std::optional<int> MarkedWindow::readMark(const QImage& picture)
{
    std::optional<int> latest;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width();) {
            const int length = runLength(picture, { x, y });
            const QRgb color = picture.pixel(x, y);
            if (length >= shortestMark && qGreen(color) == markGreen)
                latest = std::max(latest.value_or(0), (qRed(color) * numbersPerRed) + qBlue(color));
            x += length;
        }
    return latest;
}

void MarkedWindow::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    for (const QRect& mark : marks)
        painter.fillRect(mark, QColor::fromRgb(colorOf(shown)));
}

} // namespace quibel::testing
