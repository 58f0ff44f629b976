#pragma once

#include "FeederPool.h"
#include "FeederSource.h"

#include <cstdint>

// The built-in microphone for machines without one: quiet noise (about
// -50 dBFS) with a loud 1 kHz tone (-6 dBFS) for 1 s every 30 s (from 10 s to
// 11 s of each 30 s), so sound triggering can be tried.
class DemoMicrophone : public FeederSource {
public:
    static constexpr int rate = 48000;
    static constexpr int framesPerBuffer = 480;  // 10 ms
    static constexpr double tonePeriod = 30.0;
    static constexpr double toneStart = 10.0;
    static constexpr double toneLength = 1.0;

    explicit DemoMicrophone(bool realTime = true);
    ~DemoMicrophone() override;

    static bool toneAt(double seconds);

protected:
    GstHandle<GstCaps> caps() override;
    GstBuffer* produce(GstAppSrc* source) override;
    void interrupt() override;
    void rewind() override;

private:
    FeederPool pool_;
    std::uint64_t sample_ = 0;
    std::uint32_t random_ = 1;
};
