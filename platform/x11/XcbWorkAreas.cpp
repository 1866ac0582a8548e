#include "platform/x11/XcbWorkAreas.h"

#include "platform/x11/XcbProperty.h"

#include <algorithm>

namespace quibel {

namespace {

std::vector<QRect> rectanglesOf(const XcbProperty& property)
{
    const std::vector<int> numbers = property.pixels();
    if (numbers.size() % 4 != 0)
        return {};
    std::vector<QRect> rectangles;
    for (std::size_t i = 0; i < numbers.size(); i += 4)
        rectangles.emplace_back(numbers[i], numbers[i + 1], numbers[i + 2], numbers[i + 3]);
    return rectangles;
}

/// The part of `screen` that is in the area which has most of it; the whole screen if none has any.
QRect largestPart(const QRect& screen, const std::vector<QRect>& areas)
{
    QRect largest;
    for (const QRect& area : areas) {
        const QRect part = area & screen;
        if (part.width() * part.height() > largest.width() * largest.height())
            largest = part;
    }
    return largest.isEmpty() ? screen : largest;
}

} // namespace

XcbWorkAreas::XcbWorkAreas(XcbConnection& connection)
    : x(connection)
    , docks(connection)
{
}

std::vector<QRect> XcbWorkAreas::of(const std::vector<QRect>& screens)
{
    const auto desktopQuestion = askProperty(x.get(), x.root(), x.atom("_NET_CURRENT_DESKTOP"));
    const auto commonQuestion = askProperty(x.get(), x.root(), x.atom("_NET_WORKAREA"));
    const std::uint32_t desktop = XcbProperty(x.get(), desktopQuestion).firstValue().value_or(0);
    std::vector<QRect> common = rectanglesOf(XcbProperty(x.get(), commonQuestion));
    // Some window managers tell one work area for all desktops.
    if (!common.empty())
        common = { common[desktop < common.size() ? desktop : 0] };

    // The work area is one rectangle for all screens together: exact for a single one, but of
    // several it takes the same room, or misses a dock on an inner edge.
    const bool isExact = screens.size() == 1 && !common.empty();
    const std::vector<QRect> areas = isExact ? common : areasOfEach(desktop);
    const std::vector<XcbStrut> struts
        = areas.empty() ? docks.struts(desktop) : std::vector<XcbStrut>();
    const auto freePart = [&](const QRect& screen) {
        if (!struts.empty())
            return without(struts, screen);
        return largestPart(screen, areas.empty() ? common : areas);
    };
    std::vector<QRect> free;
    std::ranges::transform(screens, std::back_inserter(free), freePart);
    return free;
}

std::vector<QRect> XcbWorkAreas::areasOfEach(std::uint32_t desktop)
{
    const xcb_atom_t property = x.atom("_GTK_WORKAREAS_D" + QByteArray::number(desktop));
    return rectanglesOf(XcbProperty(x.get(), askProperty(x.get(), x.root(), property)));
}

} // namespace quibel
