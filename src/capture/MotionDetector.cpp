#include "MotionDetector.h"

#include "Defaults.h"
#include "SettingsKeys.h"

namespace MotionDetector {

namespace {

bool inAnyZone(const DetectionZones::Rects& zones, double x, double y) {
    for (const QRectF& rect : zones) {
        if (DetectionZones::contains(rect, x, y)) {
            return true;
        }
    }
    return false;
}

}  // namespace

Measurement measure(const MotionImage& image, const DetectionZones::Rects& zones) {
    Measurement result;
    for (int row = 0; row < image.rows; ++row) {
        const double y = (row * image.step + 0.5) / image.height;
        for (int column = 0; column < image.columns; ++column) {
            if (!zones.empty() && !inAnyZone(zones, (column * image.step + 0.5) / image.width, y)) {
                continue;
            }
            ++result.samples;
            result.moved += image.at(column, row);
        }
    }
    if (result.samples > 0) {
        result.level = static_cast<double>(result.moved) / result.samples / 0.05 * 100.0;
    }
    return result;
}

QString thresholdKeyFor(const QString& cameraID) {
    return SettingsKeys::motionTriggerThresholdFor(cameraID);
}

double threshold(const std::optional<QString>& cameraKey, const Defaults& defaults) {
    if (cameraKey && defaults.hasStoredValue(*cameraKey)) {
        const QVariant value = defaults.object(*cameraKey);
        bool isNumber = false;
        const double number = value.toDouble(&isNumber);
        const auto type = value.typeId();
        if (isNumber && type != QMetaType::Bool && type != QMetaType::QByteArray) {
            return number;
        }
    }
    return defaults.real(SettingsKeys::motionTriggerThreshold);
}

bool triggered(const Measurement& measurement, double threshold, bool enabled) {
    return enabled && measurement.samples > 0 && threshold < measurement.level;
}

}  // namespace MotionDetector
