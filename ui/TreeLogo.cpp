#include "ui/TreeLogo.h"

namespace quibel {

namespace {

/// How the edge of a leaf runs from one end of it to the other.
struct Edge
{
    QPointF control;
    QPointF secondControl;
    QPointF end;
};

QPainterPath leaf(const Edge& there, const Edge& back)
{
    QPainterPath path(back.end);
    path.cubicTo(there.control, there.secondControl, there.end);
    path.cubicTo(back.control, back.secondControl, back.end);
    return path;
}

} // namespace

// Drawn here, not read from the file that the icon theme gets: what would read it takes 400 KiB of
// memory for as long as the program runs.
QList<QPainterPath> treeLogo()
{
    QPainterPath stem;
    stem.addRoundedRect(QRectF(8.25, 7.75, 1.5, 9.75), 0.75, 0.75);
    return {
        stem,
        leaf({ { 11.75, 3.25 }, { 11.75, 6.25 }, { 9, 8.75 } },
             { { 6.25, 6.25 }, { 6.25, 3.25 }, { 9, 1 } }),
        leaf({ { 10.25, 9 }, { 12.75, 7 }, { 16.75, 7 } },
             { { 16.5, 10.75 }, { 14, 12.75 }, { 9.75, 12.5 } }),
        leaf({ { 7.75, 11.5 }, { 5.25, 9.5 }, { 1.25, 9.5 } },
             { { 1.5, 13 }, { 4, 15 }, { 8.25, 14.75 } }),
    };
}

} // namespace quibel
