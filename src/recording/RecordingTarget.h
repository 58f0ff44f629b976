#pragma once

#include "MovieRecorder.h"

#include <QString>
#include <memory>
#include <optional>

// One camera's part in a recording: its recorder and the names that go into
// the file name.
struct RecordingTarget {
    std::shared_ptr<MovieRecorder> recorder;
    std::optional<QString> cameraName;
    std::optional<QString> microphoneName;
};
