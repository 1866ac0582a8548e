#pragma once

#include <QtGlobal>

#include <memory>

#include <gio/gio.h>

namespace quibel {

struct GLibRelease
{
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GSource* source) const { g_source_unref(source); }
};

/// One reference to a GLib object, given back at the end.
template <typename T>
using GLibHandle = std::unique_ptr<T, GLibRelease>;

/// Receives the error of one GLib call; true when there was one.
class GLibError
{
    Q_DISABLE_COPY_MOVE(GLibError)

public:
    GLibError() = default;
    ~GLibError() { g_clear_error(&error); }

    [[nodiscard]] GError** receiver() { return &error; }
    explicit operator bool() const { return error != nullptr; }

private:
    GError* error = nullptr;
};

} // namespace quibel
