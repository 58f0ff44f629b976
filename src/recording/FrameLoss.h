#pragma once

#include <QString>
#include <array>
#include <cstdint>
#include <optional>

// Every recording counts the video frames it lost, and why, and measures the
// holes in its video timeline, so that a file that silently skipped seconds
// says so in its name.
namespace FrameLoss {

// In this order; the names are also the words printed.
enum class Reason { encoderBehind, encodeFailed, writerRefused, captureDropped };
inline constexpr std::array<Reason, 4> allReasons{Reason::encoderBehind, Reason::encodeFailed,
                                                  Reason::writerRefused, Reason::captureDropped};
QString name(Reason reason);

// Lost frames by reason for one file. A count of 0 is the same as no entry.
class Tally {
public:
    void record(Reason reason) { ++counts_[static_cast<std::size_t>(reason)]; }
    std::int64_t count(Reason reason) const { return counts_[static_cast<std::size_t>(reason)]; }
    std::int64_t total() const;
    // "encoderBehind 3, captureDropped 1": every reason counted at least once.
    QString description() const;

private:
    std::array<std::int64_t, allReasons.size()> counts_{};
};

// The video timeline of one file: frames written and the holes between them.
struct Gaps {
    std::int64_t written = 0;
    double missing = 0;  // seconds, the sum of the gaps
    double longest = 0;  // seconds, the longest single gap
    std::optional<double> lastTime;

    // One written video frame at time t lasting d seconds. A frame later than
    // 1.5 frame intervals leaves a gap, less the one interval that would have
    // been there anyway.
    void update(double t, double d);
    // Frames the file should have held at frame interval f.
    std::int64_t expectedFrames(double f) const;
};

// Once per finished file: prints what was lost, and renames a file that lost
// a noticeable share. Returns the new path when the file was renamed.
std::optional<QString> reportAndRename(const QString& filePath, const Tally& tally,
                                       const Gaps& gaps, double frameInterval);

}  // namespace FrameLoss
