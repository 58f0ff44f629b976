#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <optional>

// Reads a movie back with ffprobe, the independent reader of every movie a
// test writes: streams, packets and container duration.
class MovieProbe {
public:
    explicit MovieProbe(const QString& filePath);

    // False when ffprobe could not read the file at all.
    bool readable() const { return readable_; }
    QString errorText() const { return errorText_; }

    // "h264", "aac", ... of the first stream of that type ("video", "audio"),
    // empty when there is none.
    QString codec(const QString& type) const;
    int channels() const;    // of the first audio stream
    int sampleRate() const;  // of the first audio stream
    int width() const;
    int height() const;

    int frameCount(const QString& type = QStringLiteral("video")) const;  // packets
    bool firstFrameIsKeyframe() const;                                    // first video packet
    std::optional<double> firstTime(const QString& type = QStringLiteral("video")) const;
    std::optional<double> lastTime(const QString& type = QStringLiteral("video")) const;
    // The container's duration, else the longest stream's.
    double duration() const;
    // Seconds covered by the video packets: last pts + its duration - first pts.
    double videoSpan() const;
    // Every stream's packet times (decode order) never go backwards.
    bool timestampsMonotonic() const;
    // Presentation times in seconds of one stream's packets, in file order.
    QList<double> times(const QString& type = QStringLiteral("video")) const;
    int keyframeCount() const;

private:
    QJsonArray packetsOf(const QString& type) const;
    QJsonObject firstStream(const QString& type) const;

    bool readable_ = false;
    QString errorText_;
    QJsonArray streams_;
    QJsonArray packets_;
    QJsonObject format_;
};
