#pragma once

#include <QString>
#include <Qt>

#include <cstdint>
#include <functional>
#include <optional>

namespace quibel {

/// Names one hot key of one program: a four-character code, its first byte the most significant,
/// and a number.
struct HotKeyID
{
    std::uint32_t signature = 0;
    std::uint32_t id = 0;

    bool operator==(const HotKeyID&) const = default;
};

/// Whether this program could register a hot key.
enum class HotKeyAvailability {
    available,
    partlyTaken, ///< It would work without lock keys, but not with every combination of them.
    taken,       ///< It would not work without lock keys.
};

/// A program whose own settings bind the hot key.
struct HotKeyBinding
{
    QString program;
    bool isToAgent = false; ///< It has the agent do what the hot key does.

    bool operator==(const HotKeyBinding&) const = default;
};

enum class HotKeyRef : std::uint32_t {};
enum class HotKeyHandlerRef : std::uint32_t {};

/// System-wide hot keys: whichever application is in front, a press reaches the handler.
///
/// A key is named by what it types without modifiers in the current layout. Meta is the Super key,
/// on a Mac the Command key.
///
/// Thread: main; handlers are called there too, once for each press however long it is held.
class HotKeyService
{
public:
    /// Receives the identifier of the pressed hot key; none when it could not be read.
    using Handler = std::function<void(std::optional<HotKeyID>)>;

    HotKeyService() = default;
    HotKeyService(const HotKeyService&) = delete;
    HotKeyService& operator=(const HotKeyService&) = delete;
    virtual ~HotKeyService() = default;

    /// Errors: none when the window system cannot deliver such events.
    [[nodiscard]] virtual std::optional<HotKeyHandlerRef> installHandler(Handler handler) = 0;

    /// Errors: none when the key would not work without lock keys, for example because another
    /// program has it; the adapter says why, once, on standard error. With those lock keys with
    /// which it could be had it works all the same, as long as this service is there.
    [[nodiscard]] virtual std::optional<HotKeyRef> registerHotKey(QKeyCombination key, HotKeyID id)
        = 0;

    /// Whether the keyboard has `key` in any of its layouts.
    [[nodiscard]] virtual bool hasKey(Qt::Key key) const = 0;

    /// Tries it, and leaves everything as it was. Not while the same key is registered here.
    [[nodiscard]] virtual HotKeyAvailability availability(QKeyCombination key) = 0;

    virtual void unregisterHotKey(HotKeyRef hotKey) = 0;
    virtual void removeHandler(HotKeyHandlerRef handler) = 0;
};

} // namespace quibel
