#include "SoundServerInput.h"

#include <pulse/pulseaudio.h>

// libpulse calls these plain functions on its mainloop thread, holding the
// mainloop lock.
struct SoundServerCallbacks {
    static void state(pa_context*, void* self) {
        pa_threaded_mainloop_signal(static_cast<SoundServerInput*>(self)->mainloop_, 0);
    }
    static void serverEvent(pa_context*, pa_subscription_event_type_t type, uint32_t, void* self) {
        if ((type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) == PA_SUBSCRIPTION_EVENT_SERVER) {
            static_cast<SoundServerInput*>(self)->readServerInfo();
        }
    }
    static void serverInfo(pa_context*, const pa_server_info* info, void* self) {
        static_cast<SoundServerInput*>(self)->serverInfoArrived(info);
    }
};

SoundServerInput::~SoundServerInput() {
    stop();
}

std::optional<QString> SoundServerInput::start(Changed changed) {
    changed_ = std::move(changed);
    mainloop_ = pa_threaded_mainloop_new();
    if (!mainloop_ || pa_threaded_mainloop_start(mainloop_) < 0) {
        stop();
        return std::nullopt;
    }
    pa_threaded_mainloop_lock(mainloop_);
    context_ = pa_context_new(pa_threaded_mainloop_get_api(mainloop_), "Nelvo");
    bool ready = false;
    if (context_) {
        pa_context_set_state_callback(context_, &SoundServerCallbacks::state, this);
        // No server is started for Nelvo: without one there is no input to follow.
        if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0) {
            for (;;) {
                const pa_context_state_t state = pa_context_get_state(context_);
                if (state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state)) {
                    ready = state == PA_CONTEXT_READY;
                    break;
                }
                pa_threaded_mainloop_wait(mainloop_);
            }
        }
    }
    if (ready) {
        pa_context_set_subscribe_callback(context_, &SoundServerCallbacks::serverEvent, this);
        if (pa_operation* operation =
                pa_context_subscribe(context_, PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr)) {
            pa_operation_unref(operation);
        }
        const bool asked = readServerInfo();
        while (asked && !reported_ && PA_CONTEXT_IS_GOOD(pa_context_get_state(context_))) {
            pa_threaded_mainloop_wait(mainloop_);
        }
    }
    const std::optional<QString> input = reported_;
    pa_threaded_mainloop_unlock(mainloop_);
    if (!input) {
        stop();
    }
    return input;
}

void SoundServerInput::stop() {
    // The connection is closed while its loop still runs, so that requests
    // still in flight are answered or cancelled by the loop that owns them.
    if (context_) {
        pa_threaded_mainloop_lock(mainloop_);
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_set_subscribe_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        context_ = nullptr;
        pa_threaded_mainloop_unlock(mainloop_);
    }
    if (mainloop_) {
        pa_threaded_mainloop_stop(mainloop_);
        pa_threaded_mainloop_free(mainloop_);
        mainloop_ = nullptr;
    }
    changed_ = nullptr;
    reported_.reset();
}

bool SoundServerInput::readServerInfo() {
    pa_operation* operation =
        pa_context_get_server_info(context_, &SoundServerCallbacks::serverInfo, this);
    if (operation) {
        pa_operation_unref(operation);
    }
    return operation != nullptr;
}

// The first answer is the input at the start; later ones are changes.
void SoundServerInput::serverInfoArrived(const pa_server_info* info) {
    const QString source = info && info->default_source_name
                               ? QString::fromUtf8(info->default_source_name)
                               : QString();
    const bool first = !reported_;
    if (reported_ == source) {
        return;
    }
    reported_ = source;
    if (first) {
        pa_threaded_mainloop_signal(mainloop_, 0);
    } else if (changed_) {
        changed_(source);
    }
}
