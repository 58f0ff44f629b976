#pragma once

#include <gst/gst.h>

#include <memory>
#include <utility>

// Owning handles for GStreamer objects and mini objects: one reference each,
// released on destruction. Copying takes another reference, so a sample can
// be shared between a ring and a writer without copying its data.
template <typename T>
struct GstRefTraits;

#define NELVO_GST_OBJECT_TRAITS(Type)                       \
    template <>                                             \
    struct GstRefTraits<Type> {                             \
        static constexpr bool floats = true;                \
        static void ref(Type* p) { gst_object_ref(p); }     \
        static void unref(Type* p) { gst_object_unref(p); } \
    };
#define NELVO_GST_MINI_OBJECT_TRAITS(Type)                                             \
    template <>                                                                        \
    struct GstRefTraits<Type> {                                                        \
        static constexpr bool floats = false;                                          \
        static void ref(Type* p) { gst_mini_object_ref(GST_MINI_OBJECT_CAST(p)); }     \
        static void unref(Type* p) { gst_mini_object_unref(GST_MINI_OBJECT_CAST(p)); } \
    };

NELVO_GST_OBJECT_TRAITS(GstElement)
NELVO_GST_OBJECT_TRAITS(GstPad)
NELVO_GST_OBJECT_TRAITS(GstBus)
NELVO_GST_OBJECT_TRAITS(GstDevice)
NELVO_GST_OBJECT_TRAITS(GstDeviceMonitor)
NELVO_GST_OBJECT_TRAITS(GstClock)
NELVO_GST_OBJECT_TRAITS(GstBufferPool)
NELVO_GST_MINI_OBJECT_TRAITS(GstSample)
NELVO_GST_MINI_OBJECT_TRAITS(GstBuffer)
NELVO_GST_MINI_OBJECT_TRAITS(GstCaps)
NELVO_GST_MINI_OBJECT_TRAITS(GstMessage)
NELVO_GST_MINI_OBJECT_TRAITS(GstEvent)

#undef NELVO_GST_OBJECT_TRAITS
#undef NELVO_GST_MINI_OBJECT_TRAITS

template <typename T>
class GstHandle {
public:
    GstHandle() = default;
    // Takes over a reference the caller owns (the usual "transfer full" return).
    static GstHandle adopt(T* p) { return GstHandle(p); }
    // Takes ownership of a newly made object whose reference is floating
    // ("transfer floating": element factories, gst_pipeline_new,
    // gst_parse_launch): the floating reference is sunk and becomes this
    // handle's. Taking a second reference instead would keep the object
    // alive for ever.
    static GstHandle sink(T* p) requires GstRefTraits<T>::floats {
        return GstHandle(p ? static_cast<T*>(gst_object_ref_sink(p)) : nullptr);
    }
    // Takes a new reference of a borrowed pointer ("transfer none").
    static GstHandle ref(T* p) {
        if (p) {
            GstRefTraits<T>::ref(p);
        }
        return GstHandle(p);
    }

    GstHandle(const GstHandle& other) : p_(other.p_) {
        if (p_) {
            GstRefTraits<T>::ref(p_);
        }
    }
    GstHandle(GstHandle&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    GstHandle& operator=(GstHandle other) noexcept {
        std::swap(p_, other.p_);
        return *this;
    }
    ~GstHandle() { reset(); }

    void reset() {
        if (p_) {
            GstRefTraits<T>::unref(std::exchange(p_, nullptr));
        }
    }
    // Gives up ownership of the reference to the caller.
    T* release() { return std::exchange(p_, nullptr); }

    T* get() const { return p_; }
    T* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }
    bool operator==(const GstHandle& other) const { return p_ == other.p_; }

private:
    explicit GstHandle(T* p) : p_(p) {}
    T* p_ = nullptr;
};

// Owning handles for what GLib and GStreamer hand out to be freed by the
// caller: an error, a string, a structure.
struct GErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
struct GCharFree {
    void operator()(gchar* text) const { g_free(text); }
};
struct GstStructureFree {
    void operator()(GstStructure* structure) const { gst_structure_free(structure); }
};
using GErrorHandle = std::unique_ptr<GError, GErrorFree>;
using GCharHandle = std::unique_ptr<gchar, GCharFree>;
using GstStructureHandle = std::unique_ptr<GstStructure, GstStructureFree>;

namespace Gst {

// Lets a call that returns through an out parameter fill an owning handle:
// `gst_message_parse_error(message, Gst::out(error), Gst::out(debug))`.
template <typename Handle>
class OutParameter {
public:
    explicit OutParameter(Handle& handle) : handle_(handle) {}
    ~OutParameter() { handle_.reset(value_); }
    OutParameter(const OutParameter&) = delete;
    OutParameter& operator=(const OutParameter&) = delete;
    operator typename Handle::pointer *() { return &value_; }  // NOLINT: used as the C argument

private:
    Handle& handle_;
    typename Handle::pointer value_ = nullptr;
};

template <typename Handle>
OutParameter<Handle> out(Handle& handle) {
    return OutParameter<Handle>(handle);
}

}  // namespace Gst

// GStreamer is initialised once per process, on first use, from any thread.
namespace Gst {
void ensureInitialised();
}
