#pragma once

#include <QString>
#include <functional>
#include <optional>

struct pa_context;
struct pa_threaded_mainloop;
struct pa_server_info;

// The sound server's default source (PulseAudio, or PipeWire's PulseAudio
// service): its name when following starts and each time the user picks
// another input. GStreamer's PulseAudio device provider marks the default
// device only when it rereads the server for some other reason, so a change
// of input alone would go unnoticed without this.
class SoundServerInput {
public:
    // The new default source's name (a source name is also the device's
    // unique ID); empty when there is none. Called on the sound server
    // client's own thread.
    using Changed = std::function<void(const QString& sourceName)>;

    SoundServerInput() = default;
    ~SoundServerInput();
    SoundServerInput(const SoundServerInput&) = delete;
    SoundServerInput& operator=(const SoundServerInput&) = delete;

    // Connects to the session's sound server and returns its default source
    // now; `changed` hears every later change. Nothing when no sound server
    // answers (the device provider's own marks are all there is then).
    std::optional<QString> start(Changed changed);
    // Nothing is reported after this returns.
    void stop();

private:
    friend struct SoundServerCallbacks;

    // On the client thread. False when the question could not be sent.
    bool readServerInfo();
    void serverInfoArrived(const pa_server_info* info);

    Changed changed_;
    pa_threaded_mainloop* mainloop_ = nullptr;
    pa_context* context_ = nullptr;
    // On the client thread (under the mainloop lock).
    std::optional<QString> reported_;  // none until the first answer
};
