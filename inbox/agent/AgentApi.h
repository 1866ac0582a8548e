#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"

#include <QString>

#include <functional>

namespace quibel::inbox {

struct Storage;

/// The requests of the agent: its projects, a new branch, a screenshot of a branch.
///
/// A caller without a known key learns nothing, not even which paths exist.
class AgentApi
{
public:
    /// What is told once a branch, or a screenshot of it, has been stored.
    using BranchChanged = std::function<void(const QString& accountID, const QString& branchID)>;

    AgentApi(Storage& allStorage, BranchChanged changeCallback);

    [[nodiscard]] HttpResponse answer(const HttpRequest& request);

private:
    [[nodiscard]] HttpResponse checked(const HttpRequest& request);
    [[nodiscard]] HttpResponse routed(const HttpRequest& request, const QString& accountID);
    [[nodiscard]] HttpResponse listProjects(const QString& accountID);
    [[nodiscard]] HttpResponse addBranch(const HttpRequest& request, const QString& accountID);
    [[nodiscard]] HttpResponse
    addScreenshot(const HttpRequest& request, const QString& accountID, const QString& branchID);

    Storage& storage;
    BranchChanged branchChanged;
};

} // namespace quibel::inbox
