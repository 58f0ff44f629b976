#include "SoundMeter.h"

#include "Defaults.h"
#include "SettingsKeys.h"
#include "SoundLevel.h"

SoundMeter::SoundMeter(const Defaults& defaults, LevelSource level, Shown shown, Trigger trigger,
                       QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      level_(std::move(level)),
      shown_(std::move(shown)),
      trigger_(std::move(trigger)) {}

SoundMeter::~SoundMeter() {
    ++generation_;
    queue_.drain();
}

void SoundMeter::start() {
    if (running_) {
        return;
    }
    running_ = true;
    const std::uint64_t generation = ++generation_;
    queue_.async([this, generation] { tick(generation); });
}

void SoundMeter::stop() {
    if (!running_) {
        return;
    }
    running_ = false;
    ++generation_;
}

void SoundMeter::tick(std::uint64_t generation) {
    if (generation != generation_) {
        return;
    }
    queue_.asyncAfter(interval, [this, generation] { tick(generation); });
    const std::optional<double> level = level_();
    if (!level) {
        return;
    }
    const double meter = SoundLevel::meterValue(*level);
    const bool triggers =
        SoundLevel::triggers(meter, defaults_.real(SettingsKeys::audioTriggerThreshold),
                             defaults_.boolValue(SettingsKeys::audioTriggerEnabled));
    // The tick may have passed the check above just before a stop: the main
    // thread, where stopping happens, checks again before anything is told.
    QMetaObject::invokeMethod(
        this,
        [this, generation, meter, triggers] {
            if (generation != generation_) {
                return;
            }
            shown_(meter);
            if (triggers) {
                trigger_();
            }
        },
        Qt::QueuedConnection);
}
