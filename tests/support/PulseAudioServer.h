#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>
#include <optional>

// A PulseAudio server of the test's own, in its own runtime folder, so tests
// running side by side never share one. It starts with no sinks or sources;
// a null sink loaded into it brings a microphone (the sink's monitor source).
class PulseAudioServer {
public:
    // Starts the server and waits until it answers.
    PulseAudioServer();
    ~PulseAudioServer();
    PulseAudioServer(const PulseAudioServer&) = delete;
    PulseAudioServer& operator=(const PulseAudioServer&) = delete;

    static bool isInstalled();

    // Kills the server outright; restart() starts a new one at the same address.
    void kill();
    bool restart();

    bool isRunning() const { return running_; }
    // Why the server is not running, for the test's failure message.
    const QString& problem() const { return problem_; }
    // "unix:/…/native", for a client's server setting.
    QString address() const;
    // The environment of a client process (pacat, pactl) of this server.
    QProcessEnvironment clientEnvironment() const;
    // Makes this server the default one of every sound client this process
    // creates later (the device monitor's provider, pulsesrc).
    void becomeDefaultForThisProcess() const;

    // Runs pactl against the server; its standard output, or nothing on failure.
    std::optional<QString> pactl(const QStringList& arguments) const;
    // Loads a null sink named `name`; its monitor "{name}.monitor" is a
    // source described as "Monitor of {description}". The module index.
    std::optional<int> loadNullSink(const QString& name, const QString& description);
    bool unloadModule(int index);
    bool setDefaultSource(const QString& sourceName);
    // The server's default source, as it reports it.
    QString defaultSource() const;

    // Two microphones ("first.monitor", the default source, and
    // "second.monitor"), with this server the default one of this process.
    bool serveTwoSources();

private:
    void start();

    QTemporaryDir runtime_;
    QProcess server_;
    bool running_ = false;
    QString problem_;
};
