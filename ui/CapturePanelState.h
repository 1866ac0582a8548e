#pragma once

#include "account/Project.h"
#include "ui/ScreenshotMode.h"

#include <QObject>

#include <optional>

namespace quibel {

/// What the capture panel shows and what its keys change.
///
/// Thread: main.
class CapturePanelState : public QObject
{
    Q_OBJECT

public:
    CapturePanelState(ProjectList projects,
                      qsizetype selectedIndex,
                      bool showSyncWarning,
                      ScreenshotMode screenshotMode);

    /// The projects that can be chosen, in display order.
    [[nodiscard]] const ProjectList& projects() const { return projectList; }
    void setProjects(ProjectList projects);

    /// Index of the chosen project; any number, see `selectedProject`.
    [[nodiscard]] qsizetype selectedIndex() const { return index; }
    void setSelectedIndex(qsizetype selectedIndex);

    [[nodiscard]] bool showSyncWarning() const { return warning; }
    void setShowSyncWarning(bool showSyncWarning);

    [[nodiscard]] ScreenshotMode screenshotMode() const { return mode; }
    void setScreenshotMode(ScreenshotMode screenshotMode);

    /// The chosen project: the first for an index below the list, the last for one beyond it.
    ///
    /// Errors: none for an empty list.
    [[nodiscard]] std::optional<Project> selectedProject() const;

    /// Chooses the project after the chosen one; the first follows the last.
    ///
    /// Errors: an index that overflows ends the program.
    void selectNext();

    /// Chooses the project before the chosen one; the last precedes the first.
    ///
    /// Errors: an index that overflows ends the program.
    void selectPrevious();

Q_SIGNALS:
    /// Emitted before every assignment of a field, also of the value that it has.
    void willChange();

private:
    ProjectList projectList;
    qsizetype index;
    bool warning;
    ScreenshotMode mode;
};

} // namespace quibel
