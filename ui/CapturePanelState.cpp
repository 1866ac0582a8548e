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

CapturePanelState::CapturePanelState(ProjectList projects,
                                     qsizetype selectedIndex,
                                     bool showSyncWarning,
                                     ScreenshotMode screenshotMode)
    : projectList(std::move(projects))
    , index(selectedIndex)
    , warning(showSyncWarning)
    , mode(screenshotMode)
{
}

void CapturePanelState::setProjects(ProjectList projects)
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
    return projectList[std::clamp<qsizetype>(index, 0, projectList.size() - 1)];
}

void CapturePanelState::selectNext()
{
    if (!projectList.empty())
        setSelectedIndex(sum(index, 1) % projectList.size());
}

void CapturePanelState::selectPrevious()
{
    if (!projectList.empty())
        setSelectedIndex(sum(sum(index, -1), projectList.size()) % projectList.size());
}

} // namespace quibel
