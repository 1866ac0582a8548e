#pragma once

#include "account/APIError.h"
#include "account/Project.h"

#include <variant>

namespace quibel {

using ProjectsResult = std::variant<ProjectList, APIError>;

/// What came of a request for the projects, in the order of the answer.
[[nodiscard]] ProjectsResult readProjects(const HttpOutcome& outcome);

} // namespace quibel
