#pragma once

#include <glib-object.h>

namespace quillon {

// Owns one reference to a GObject of libatspi and drops it at the end of the scope.
template <typename T>
struct GObjectPtr {
    explicit GObjectPtr(T* object) : value(object) {}
    ~GObjectPtr() {
        if (value) g_object_unref(value);
    }
    GObjectPtr(const GObjectPtr&) = delete;
    GObjectPtr& operator=(const GObjectPtr&) = delete;
    T* get() const { return value; }
    explicit operator bool() const { return value != nullptr; }
    T* value;
};

}  // namespace quillon
