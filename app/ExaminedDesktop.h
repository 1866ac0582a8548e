#pragma once

#include "doctor/Patient.h"

#include <memory>

namespace quibel {

/// A desktop as a diagnosis meets it: display and bus may be missing or silent, and nothing is
/// changed. What does not answer in time is done without, so that no adapter waits for it.
///
/// Thread: main.
class ExaminedDesktop
{
public:
    /// Before the application object is made. Takes three seconds at the most.
    ExaminedDesktop();
    ExaminedDesktop(const ExaminedDesktop&) = delete;
    ExaminedDesktop& operator=(const ExaminedDesktop&) = delete;
    ~ExaminedDesktop();

    /// Whether the application object can be one that uses the window system.
    [[nodiscard]] bool hasDisplay() const { return displayAnswers; }

    /// After the application object is made; valid as long as this is.
    [[nodiscard]] Patient patient();

private:
    struct Adapters;
    struct DisplayAdapters;

    SessionBusFacts sessionBus;
    bool displayAnswers = false;
    std::unique_ptr<Adapters> adapters;
    std::unique_ptr<DisplayAdapters> displayAdapters;
};

} // namespace quibel
