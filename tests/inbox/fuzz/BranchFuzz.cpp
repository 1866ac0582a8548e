#include "inbox/agent/AgentDocuments.h"
#include "inbox/storage/SearchText.h"
#include "tests/inbox/fuzz/FuzzInput.h"

#include <variant>

using namespace quibel::inbox;
using namespace quibel::inbox::testing;

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const auto decoded = decodeBranch(toInput(bytes, size));
    if (const auto* error = std::get_if<DocumentError>(&decoded)) {
        require(!error->message.isEmpty());
        return 0;
    }
    const auto& branch = std::get<BranchDocument>(decoded);
    for (const auto& text : { branch.title, branch.capturedText, branch.appName })
        require(!text.contains(QChar(0)));
    require(branch.capturedAt.size() == 20 && branch.capturedAt.endsWith(QChar(u'Z')));
    (void)searchWords(branch);
    (void)typedWords(branch.title);
    return 0;
}
