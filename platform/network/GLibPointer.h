#pragma once

#include <gio/gio.h>

#include <memory>

// For this folder's sources only: headers of the GLib family stay out of everything else.
namespace velmora {

struct GObjectUnref
{
    void operator()(gpointer object) const { g_object_unref(object); }
};

/// Owns one reference.
template<class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

} // namespace velmora
