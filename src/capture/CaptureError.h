#pragma once

#include "Error.h"

#include <gst/gst.h>
#include <optional>

// The capture session's errors in Nelvo's terms. The system refusing Nelvo a
// device is told apart from every other failure: an element that names it a
// refusal, or one that could not open its device because permission was
// denied, gives an error in Error::gstResourceDomain with the code
// GST_RESOURCE_ERROR_NOT_AUTHORIZED. Plain functions: any thread.
namespace CaptureError {

// The error an error message carries; absent when it carries none.
std::optional<Error> of(GstMessage* message);

bool isRefusal(const Error& error);

// Opens a source on its own (READY); false when it cannot be opened. When the
// system refused it, the refusal is kept in `refusal`.
bool openSource(GstElement* source, std::optional<Error>& refusal);

}  // namespace CaptureError
