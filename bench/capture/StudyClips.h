#pragma once

// The pictures the encoder benchmarks feed: the demo scene, and a real
// outdoor camera clip (people walking) made from public footage packaged in
// Debian, cut to show a scene change, brought to 30 frames a second, scaled
// and given fresh sensor noise on every frame.
#include "GstHandle.h"

#include <QString>
#include <vector>

namespace StudyClips {

struct Clip {
    QString name;  // "demo" or "real"
    int width = 0;
    int height = 0;
    GstHandle<GstCaps> caps;  // I420, 30 frames a second
    std::vector<GstHandle<GstBuffer>> frames;
    int sceneChange = -1;  // the first frame of the new scene, -1 for none
    int stillFrame = -1;   // a frame of the still scene, -1 for none
};

constexpr int framesPerSecond = 30;
constexpr int seconds = 10;

// The footage: opencv-doc's pedestrian clip (768x576, 10 frames a second).
QString footagePath();
// False, after printing which, when the footage or ffmpeg is missing.
bool realClipAvailable();

// 10 s of the demo scene, with the dark object crossing from 5 s to 8 s.
Clip demoClip(int width, int height);
// 10 s of the real clip: 5.5 s of the whole view, then the camera turned to a
// closer view of another spot (the scene change). Empty frames on failure.
Clip realClip(int width, int height);

}  // namespace StudyClips
