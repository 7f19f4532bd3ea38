#pragma once

#include <gio/gio.h>

#include <memory>

// For platform/*.cpp only: headers of the GLib family stay out of every other folder.
namespace velmora {

struct GObjectUnref
{
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct GErrorFree
{
    void operator()(GError *error) const { g_error_free(error); }
};
struct GFree
{
    void operator()(gpointer memory) const { g_free(memory); }
};
struct GVariantUnref
{
    void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
struct GHashTableUnref
{
    void operator()(GHashTable *table) const { g_hash_table_unref(table); }
};

/// Adopts a transfer-full object; `refObject()` is for a transfer-none one.
template<class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;
using GCharPtr = std::unique_ptr<char, GFree>;
using GVariantPtr = std::unique_ptr<GVariant, GVariantUnref>;
using GHashTablePtr = std::unique_ptr<GHashTable, GHashTableUnref>;

template<class T>
GObjectPtr<T> refObject(T *object)
{
    return GObjectPtr<T>(object != nullptr ? static_cast<T *>(g_object_ref(object)) : nullptr);
}

} // namespace velmora
