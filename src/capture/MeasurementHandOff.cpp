#include "MeasurementHandOff.h"

#include <QMetaObject>

MeasurementHandOff::MeasurementHandOff(QObject& context, Delivery deliver)
    : context_(context), deliver_(std::move(deliver)) {
    for (int i = 0; i < pipelineCount; ++i) {
        lastLevel_[i] = 0;
        peakSinceLast_[i] = 0;
    }
}

void MeasurementHandOff::measured(int index, double level) {
    measuredSinceLast_[index].fetch_add(1);
    lastLevel_[index] = level;
    double peak = peakSinceLast_[index].load();
    while (level > peak && !peakSinceLast_[index].compare_exchange_weak(peak, level)) {
    }
    if (!posted_[index].exchange(true)) {
        QMetaObject::invokeMethod(
            &context_, [this, index] { deliver(index); }, Qt::QueuedConnection);
    }
}

void MeasurementHandOff::deliver(int index) {
    posted_[index] = false;
    deliver_(index, measuredSinceLast_[index].exchange(0), lastLevel_[index],
             peakSinceLast_[index].exchange(0));
}
