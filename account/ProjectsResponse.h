#pragma once

#include "account/APIError.h"
#include "account/Project.h"

#include <variant>
#include <vector>

namespace quibel {

using ProjectList = std::vector<Project>;
using ProjectsResult = std::variant<ProjectList, APIError>;

/// What came of a request for the projects, in the order of the answer.
[[nodiscard]] ProjectsResult readProjects(const HttpOutcome& outcome);

} // namespace quibel
