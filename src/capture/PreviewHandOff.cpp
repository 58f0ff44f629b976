#include "PreviewHandOff.h"

#include <QMetaObject>

void PreviewHandOff::offer(int index, const PreviewFrame& frame) {
    Slot& slot = slots_[index];
    PreviewFrame replaced = frame;
    {
        // Held only to swap a frame; the main thread never draws under it.
        std::lock_guard guard(slot.mutex);
        std::swap(replaced, slot.frame);
    }
    if (!slot.posted.exchange(true)) {
        QMetaObject::invokeMethod(
            &context_, [this, index] { deliver(index); }, Qt::QueuedConnection);
    }
}

void PreviewHandOff::clear() {
    for (Slot& slot : slots_) {
        PreviewFrame dropped;
        std::lock_guard guard(slot.mutex);
        std::swap(dropped, slot.frame);
    }
}

void PreviewHandOff::deliver(int index) {
    Slot& slot = slots_[index];
    slot.posted = false;
    PreviewFrame frame;
    {
        std::lock_guard guard(slot.mutex);
        std::swap(frame, slot.frame);
    }
    if (!frame.isNull()) {
        deliver_(index, frame);
    }
}
