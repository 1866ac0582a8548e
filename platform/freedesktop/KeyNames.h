#pragma once

#include <QTranslator>

namespace quibel {

/// Has the toolkit write keys as desktops do: the key that it knows as Meta is called Super in
/// their menus and settings.
///
/// Thread: main; in force as long as it lives, within the life of the application object.
class KeyNames : public QTranslator
{
    Q_OBJECT

public:
    KeyNames();

    [[nodiscard]] bool isEmpty() const override { return false; }
    [[nodiscard]] QString translate(const char* context,
                                    const char* sourceText,
                                    const char* disambiguation,
                                    int n) const override;
};

} // namespace quibel
