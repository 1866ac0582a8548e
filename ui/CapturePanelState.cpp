#include "ui/CapturePanelState.h"

#include <algorithm>
#include <utility>

namespace quibel {

namespace {

qsizetype sum(qsizetype a, qsizetype b)
{
    qsizetype result = 0;
    if (__builtin_add_overflow(a, b, &result))
        qFatal("The index of the selected project overflows");
    return result;
}

} // namespace

CapturePanelState::CapturePanelState(std::vector<Project> projects,
                                     qsizetype selectedIndex,
                                     bool showSyncWarning,
                                     ScreenshotMode screenshotMode)
    : projectList(std::move(projects))
    , index(selectedIndex)
    , warning(showSyncWarning)
    , mode(screenshotMode)
{
}

void CapturePanelState::setProjects(std::vector<Project> projects)
{
    Q_EMIT willChange();
    projectList = std::move(projects);
}

void CapturePanelState::setSelectedIndex(qsizetype selectedIndex)
{
    Q_EMIT willChange();
    index = selectedIndex;
}

void CapturePanelState::setShowSyncWarning(bool showSyncWarning)
{
    Q_EMIT willChange();
    warning = showSyncWarning;
}

void CapturePanelState::setScreenshotMode(ScreenshotMode screenshotMode)
{
    Q_EMIT willChange();
    mode = screenshotMode;
}

std::optional<Project> CapturePanelState::selectedProject() const
{
    if (projectList.empty())
        return std::nullopt;
    const qsizetype last = std::ssize(projectList) - 1;
    return projectList[static_cast<std::size_t>(std::clamp<qsizetype>(index, 0, last))];
}

void CapturePanelState::selectNext()
{
    if (!projectList.empty())
        setSelectedIndex(sum(index, 1) % std::ssize(projectList));
}

void CapturePanelState::selectPrevious()
{
    if (!projectList.empty())
        setSelectedIndex(sum(sum(index, -1), std::ssize(projectList)) % std::ssize(projectList));
}

} // namespace quibel
