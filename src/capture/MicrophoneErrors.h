#pragma once

#include "Error.h"

#include <QString>

// Which of a capture session's errors are its microphone's: those posted by
// the microphone's source (the element the pipeline names `sourceName`) or
// by anything inside it. A microphone whose sound server went away fails
// like this; the camera's part of the session is unharmed, so such an error
// is a lost microphone, not a reason to restart the session. A refusal stays
// the session's error: capture as a whole was not authorised. Judged from the
// posting element's path ("/GstPipeline:CaptureSession/GstPulseSrc:Microphone"),
// so no GStreamer object is needed.
class MicrophoneErrors {
public:
    static constexpr const char* sourceName = "Microphone";

    static bool isMicrophones(const QString& postedBy, const Error& error);
};
