// Append + trim cost of the pre-roll ring at 30 video frames/s and 50 audio
// buffers/s with 30 s of pre-roll, measured at two ring sizes: amortised
// constant time means the two figures stay within 2x of each other.
#include "SampleRing.h"

#include <chrono>
#include <cstdio>
#include <memory>

namespace {

using Ring = SampleRing<std::shared_ptr<int>>;

// Time per append+trim once the ring holds about `entries` entries.
double nanosecondsPerAppend(std::size_t entries) {
    const auto payload = std::make_shared<int>(0);
    Ring video;
    Ring audio;
    // 80 entries a second: the pre-roll span that holds `entries` entries.
    const double keep = static_cast<double>(entries) / 80.0;
    const int warmSeconds = static_cast<int>(keep) + 2;
    auto second = [&](int s) {
        for (int i = 0; i < 50; ++i) {
            if (i < 30) {
                video.append(s + i / 30.0, i == 0, payload);
                video.trim(keep);
                audio.trim(keep + 2);
            }
            audio.append(s + i / 50.0, true, payload);
            video.trim(keep);
            audio.trim(keep + 2);
        }
    };
    for (int s = 0; s < warmSeconds; ++s) {
        second(s);
    }
    const int measuredSeconds = 2000;
    const auto began = std::chrono::steady_clock::now();
    for (int s = warmSeconds; s < warmSeconds + measuredSeconds; ++s) {
        second(s);
    }
    const double elapsed =
        std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - began).count();
    return elapsed / (measuredSeconds * 80.0);
}

}  // namespace

int main() {
    std::printf("sample_ring_append_trim_1000_entries: %.1f ns\n", nanosecondsPerAppend(1000));
    std::printf("sample_ring_append_trim_20000_entries: %.1f ns\n", nanosecondsPerAppend(20000));
    return 0;
}
