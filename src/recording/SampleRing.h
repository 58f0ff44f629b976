#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

// The short history of compressed media that makes pre-roll possible: entries
// in the order they were appended (ascending presentation time), each with its
// keyframe flag and a shared payload (a counted sample reference, never a copy
// of the sample's data). The owner serialises access.
template <typename Payload>
class SampleRing {
public:
    struct Entry {
        double time;
        bool isKeyframe;
        Payload payload;
    };

    // Hard cap on the number of entries, independent of time.
    static constexpr std::size_t maxEntries = 20000;

    // Adds an entry as the newest, then enforces the cap.
    void append(double time, bool isKeyframe, Payload payload) {
        const std::size_t before = size();
        inTimeOrder_ = inTimeOrder_ && (before == 0 || newest().time <= time);
        store_.push_back(Entry{time, isKeyframe, std::move(payload)});
        if (before >= maxEntries) {
            dropOldest(before - (maxEntries - 1));
        }
    }

    // Drops old entries so that the ring still spans at least `seconds` before
    // its newest entry, starting at a keyframe. Scans from the newest end and
    // stops at the first keyframe at or before the cutoff.
    void trim(double seconds) {
        if (empty()) {
            return;
        }
        const double cutoff = newest().time - seconds;
        if (inTimeOrder_) {
            trimInTimeOrder(cutoff);
            return;
        }
        for (std::size_t i = size(); i-- > 0;) {
            const Entry& entry = at(i);
            if (entry.isKeyframe && entry.time <= cutoff) {
                dropOldest(i);
                return;
            }
        }
    }

    // Every entry at or after t, in ring order, sharing the payloads.
    std::vector<Entry> entriesFrom(double t) const {
        std::vector<Entry> found;
        for (std::size_t i = 0; i < size(); ++i) {
            if (at(i).time >= t) {
                found.push_back(at(i));
            }
        }
        return found;
    }

    // The time a movie should start at: among keyframes later than `floor`
    // (all of them without one), the newest at or before `target`, else the
    // oldest of them; nothing when no keyframe qualifies.
    std::optional<double> keyframeTime(std::optional<double> floor, double target) const {
        std::optional<double> oldestQualifying;
        for (std::size_t i = size(); i-- > 0;) {
            const Entry& entry = at(i);
            if (!entry.isKeyframe || (floor && entry.time <= *floor)) {
                continue;
            }
            if (entry.time <= target) {
                return entry.time;
            }
            oldestQualifying = entry.time;
        }
        return oldestQualifying;
    }

    void clear() {
        store_.clear();
        head_ = 0;
        inTimeOrder_ = true;
    }

    std::size_t size() const { return store_.size() - head_; }
    bool empty() const { return size() == 0; }
    const Entry& at(std::size_t index) const { return store_[head_ + index]; }
    const Entry& oldest() const { return at(0); }
    const Entry& newest() const { return store_.back(); }

    // Tests and benchmarks only: puts entries in without the cap, the way a
    // ring could look if the cap had been bypassed.
    void appendUncapped(double time, bool isKeyframe, Payload payload) {
        inTimeOrder_ = inTimeOrder_ && (empty() || newest().time <= time);
        store_.push_back(Entry{time, isKeyframe, std::move(payload)});
    }

private:
    // With ascending times the newest keyframe at or before the cutoff is the
    // last keyframe among the entries at or before it, so only those (the ones
    // about to go and at most one keyframe interval more) are touched.
    void trimInTimeOrder(double cutoff) {
        std::optional<std::size_t> found;
        for (std::size_t i = 0; i < size() && at(i).time <= cutoff; ++i) {
            if (at(i).isKeyframe) {
                found = i;
            }
        }
        if (found && *found > 0) {
            dropOldest(*found);
        }
    }

    // Removal is always a prefix. Removed slots are released at once (payloads
    // unreferenced) but compacted only once they outnumber the live entries,
    // so appends and trims stay amortised constant and reuse the storage.
    void dropOldest(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            store_[head_ + i] = Entry{};
        }
        head_ += count;
        if (head_ > size()) {
            store_.erase(store_.begin(), store_.begin() + static_cast<std::ptrdiff_t>(head_));
            head_ = 0;
        }
    }

    std::vector<Entry> store_;
    std::size_t head_ = 0;
    bool inTimeOrder_ = true;  // every entry appended at or after the one before
};
