#pragma once

#include <functional>
#include <memory>
#include <utility>

#include <gio/gio.h>

namespace quibel {

/// Makes a function of ours what an asynchronous GLib call tells its result to: `callback` and
/// `data` are the call's last two arguments, as a pair for one call.
class ResultReceiver
{
public:
    using Function = std::function<void(GAsyncResult*)>;

    static constexpr GAsyncReadyCallback callback
        = [](GObject* /*source*/, GAsyncResult* result, gpointer data) {
              const std::unique_ptr<Function> function(static_cast<Function*>(data));
              (*function)(result);
          };

    [[nodiscard]] static gpointer data(Function function)
    {
        return std::make_unique<Function>(std::move(function)).release();
    }
};

} // namespace quibel
