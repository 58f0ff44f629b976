#pragma once

#include <QString>
#include <optional>

// Whether a video file can be played as a camera (`--camera-file`), found
// out once before Nelvo starts: the file is opened and its first frame
// decoded as the camera will decode it, waiting a few seconds at most.
class CameraFileCheck {
public:
    // Why the file cannot be played, in a few words; nothing when it can.
    static std::optional<QString> problem(const QString& path);

private:
    static std::optional<QString> unreadable(const QString& path);
    static std::optional<QString> undecodable(const QString& path);
};
