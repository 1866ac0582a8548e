#pragma once

#include "tests/inbox/page/InboxUnderTest.h"

namespace quibel::inbox::testing {

/// Puts in what somebody may have in their inbox: two projects, nine branches, pictures.
void fillInbox(InboxUnderTest& inbox);

} // namespace quibel::inbox::testing
