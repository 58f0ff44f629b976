#pragma once

#include "FeederPool.h"
#include "FeederSource.h"

#include <cstdint>
#include <vector>

// The built-in camera for machines without one: a still scene with faint
// sensor noise, in which a dark object crosses the frame for 3 s every 20 s
// (from 5 s to 8 s of each 20 s), so motion triggering can be tried at once.
class DemoCamera : public FeederSource {
public:
    struct Options {
        int width = 1280;
        int height = 720;
        int framesPerSecond = 30;
        bool realTime = true;
        double noiseSigma = 2.0;    // luma levels
        bool crossings = true;      // false: the still scene alone
        long long frameLimit = -1;  // the stream ends after this many frames; -1: never
        // Two demo cameras side by side need IDs and names of their own.
        QString uniqueID = QStringLiteral("nelvo-demo-camera");
        QString name = QStringLiteral("Demo Camera");
    };

    static constexpr double crossingPeriod = 20.0;
    static constexpr double crossingStart = 5.0;
    static constexpr double crossingLength = 3.0;

    DemoCamera();
    explicit DemoCamera(Options options);
    ~DemoCamera() override;

    // Whether the object is in the frame at this stream time.
    static bool crossingAt(double seconds);

protected:
    GstHandle<GstCaps> caps() override;
    GstBuffer* produce(GstAppSrc* source) override;
    void interrupt() override;
    void rewind() override;

private:
    void drawFrame(std::uint8_t* data, double seconds);

    const Options options_;
    std::vector<std::uint8_t> background_;  // one I420 frame
    std::vector<std::int8_t> noise_;
    FeederPool pool_;
    std::uint64_t frame_ = 0;
    std::uint32_t random_ = 1;
};
