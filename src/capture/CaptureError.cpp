#include "CaptureError.h"

#include "GstHandle.h"

#include <cerrno>
#include <cstring>

namespace {

bool refusedByTheSystem(const GError* error, const gchar* debug) {
    if (error->domain != GST_RESOURCE_ERROR) {
        return false;
    }
    if (error->code == GST_RESOURCE_ERROR_NOT_AUTHORIZED) {
        return true;
    }
    const bool opening = error->code == GST_RESOURCE_ERROR_OPEN_READ ||
                         error->code == GST_RESOURCE_ERROR_OPEN_WRITE ||
                         error->code == GST_RESOURCE_ERROR_OPEN_READ_WRITE;
    // Elements put the system's own words for the errno into the details.
    return opening && debug &&
           (std::strstr(debug, g_strerror(EACCES)) || std::strstr(debug, g_strerror(EPERM)));
}

Error errorFrom(const GError* error, const gchar* debug) {
    Error result;
    if (error->domain == GST_RESOURCE_ERROR) {
        result.domain = Error::gstResourceDomain;
    } else if (error->domain == GST_STREAM_ERROR) {
        result.domain = Error::gstStreamDomain;
    } else {
        result.domain = QString::fromUtf8(g_quark_to_string(error->domain));
    }
    result.code =
        refusedByTheSystem(error, debug) ? GST_RESOURCE_ERROR_NOT_AUTHORIZED : error->code;
    result.description = QString::fromUtf8(error->message);
    return result;
}

}  // namespace

std::optional<Error> CaptureError::of(GstMessage* message) {
    GErrorHandle error;
    GCharHandle debug;
    gst_message_parse_error(message, Gst::out(error), Gst::out(debug));
    if (!error) {
        return std::nullopt;
    }
    return errorFrom(error.get(), debug.get());
}

bool CaptureError::isRefusal(const Error& error) {
    return error.domain == Error::gstResourceDomain &&
           error.code == GST_RESOURCE_ERROR_NOT_AUTHORIZED;
}

bool CaptureError::openSource(GstElement* source, std::optional<Error>& refusal) {
    // A source on its own has no bus; lend it one to hear why it failed.
    auto bus = GstHandle<GstBus>::adopt(gst_bus_new());
    gst_element_set_bus(source, bus.get());
    const bool opened = gst_element_set_state(source, GST_STATE_READY) != GST_STATE_CHANGE_FAILURE;
    if (!opened) {
        gst_element_set_state(source, GST_STATE_NULL);
        while (auto message = GstHandle<GstMessage>::adopt(
                   gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR))) {
            std::optional<Error> error = of(message.get());
            if (error && isRefusal(*error)) {
                refusal = std::move(error);
            }
        }
    }
    gst_element_set_bus(source, nullptr);
    return opened;
}
