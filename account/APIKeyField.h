#pragma once

#include <QLineEdit>

namespace quibel {

/// Takes an API key that is typed or pasted; neither on the screen nor to assistive tools does it
/// say which.
///
/// Thread: main.
class APIKeyField final : public QLineEdit
{
    Q_OBJECT

public:
    APIKeyField();
};

} // namespace quibel
