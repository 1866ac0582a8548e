#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"

#include <optional>

namespace quibel::inbox {

class BranchStorage;

/// The requests of the agent: its projects, a new branch, a screenshot of a branch.
///
/// A caller without a known key learns nothing, not even which paths exist.
class AgentApi
{
public:
    explicit AgentApi(BranchStorage& branchStorage);

    [[nodiscard]] HttpResponse answer(const HttpRequest& request);

private:
    [[nodiscard]] std::optional<HttpResponse> refuseUnknownKey(const HttpRequest& request);
    [[nodiscard]] HttpResponse listProjects();
    [[nodiscard]] HttpResponse addBranch(const HttpRequest& request);
    [[nodiscard]] HttpResponse addScreenshot(const QString& branchID, const HttpRequest& request);

    BranchStorage& storage;
};

} // namespace quibel::inbox
