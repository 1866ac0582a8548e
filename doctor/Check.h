#pragma once

#include <QJsonObject>
#include <QString>

#include <vector>

namespace quibel {

/// What a finding means for branching off a thought with one keystroke.
enum class Verdict {
    fine,
    warning, ///< The main job is done all the same.
    failure, ///< The main job is not done.
};

/// What came of looking at one thing.
struct Finding
{
    Verdict verdict = Verdict::fine;
    QString text;           ///< What was found.
    QString advice {};      ///< What to do; empty when there is nothing to be done.
    QJsonObject details {}; ///< What was found, for programs.

    bool operator==(const Finding&) const = default;
};

/// One thing that is looked at, with what was found.
struct Check
{
    QString name;  ///< For programs, for example "hotKey".
    QString title; ///< For people.
    Finding finding;

    bool operator==(const Check&) const = default;
};

/// All checks, in the order in which they are to be read.
using Diagnosis = std::vector<Check>;

/// Whether everything that the main job needs works.
[[nodiscard]] bool isHealthy(const Diagnosis& diagnosis);

} // namespace quibel
