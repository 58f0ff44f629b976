#include "MovieProbe.h"

#include <QJsonDocument>
#include <QProcess>

MovieProbe::MovieProbe(const QString& filePath) {
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
                  {"-v", "error", "-print_format", "json", "-show_streams", "-show_format",
                   "-show_packets", filePath});
    if (!ffprobe.waitForFinished(60000)) {
        errorText_ = QStringLiteral("ffprobe did not finish");
        return;
    }
    errorText_ = QString::fromUtf8(ffprobe.readAllStandardError());
    const QJsonObject root = QJsonDocument::fromJson(ffprobe.readAllStandardOutput()).object();
    streams_ = root.value("streams").toArray();
    packets_ = root.value("packets").toArray();
    format_ = root.value("format").toObject();
    readable_ = ffprobe.exitCode() == 0 && !streams_.isEmpty();
}

QJsonObject MovieProbe::firstStream(const QString& type) const {
    for (const QJsonValue& stream : streams_) {
        if (stream["codec_type"].toString() == type) {
            return stream.toObject();
        }
    }
    return {};
}

QJsonArray MovieProbe::packetsOf(const QString& type) const {
    const int index = firstStream(type).value("index").toInt(-1);
    QJsonArray result;
    for (const QJsonValue& packet : packets_) {
        if (packet["stream_index"].toInt() == index) {
            result.append(packet);
        }
    }
    return result;
}

QString MovieProbe::codec(const QString& type) const {
    return firstStream(type).value("codec_name").toString();
}
int MovieProbe::channels() const {
    return firstStream("audio").value("channels").toInt();
}
int MovieProbe::sampleRate() const {
    return firstStream("audio").value("sample_rate").toString().toInt();
}
int MovieProbe::width() const {
    return firstStream("video").value("width").toInt();
}
int MovieProbe::height() const {
    return firstStream("video").value("height").toInt();
}
int MovieProbe::frameCount(const QString& type) const {
    return packetsOf(type).size();
}

bool MovieProbe::firstFrameIsKeyframe() const {
    const QJsonArray packets = packetsOf("video");
    return !packets.isEmpty() && packets.first()["flags"].toString().startsWith('K');
}

int MovieProbe::keyframeCount() const {
    int count = 0;
    for (const QJsonValue& packet : packetsOf("video")) {
        count += packet["flags"].toString().startsWith('K') ? 1 : 0;
    }
    return count;
}

QList<double> MovieProbe::times(const QString& type) const {
    QList<double> result;
    for (const QJsonValue& packet : packetsOf(type)) {
        result << packet["pts_time"].toString().toDouble();
    }
    return result;
}

std::optional<double> MovieProbe::firstTime(const QString& type) const {
    const QList<double> all = times(type);
    if (all.isEmpty()) {
        return std::nullopt;
    }
    return *std::min_element(all.begin(), all.end());
}

std::optional<double> MovieProbe::lastTime(const QString& type) const {
    const QList<double> all = times(type);
    if (all.isEmpty()) {
        return std::nullopt;
    }
    return *std::max_element(all.begin(), all.end());
}

double MovieProbe::duration() const {
    bool ok = false;
    const double container = format_.value("duration").toString().toDouble(&ok);
    if (ok) {
        return container;
    }
    double longest = 0;
    for (const QJsonValue& stream : streams_) {
        longest = std::max(longest, stream["duration"].toString().toDouble());
    }
    return longest;
}

double MovieProbe::videoSpan() const {
    const QJsonArray packets = packetsOf("video");
    if (packets.isEmpty()) {
        return 0;
    }
    const QJsonValue last = packets.last();
    return last["pts_time"].toString().toDouble() + last["duration_time"].toString().toDouble() -
           *firstTime("video");
}

bool MovieProbe::timestampsMonotonic() const {
    for (const QJsonValue& stream : streams_) {
        std::optional<double> previous;
        for (const QJsonValue& packet : packetsOf(stream["codec_type"].toString())) {
            const QJsonValue dts = packet["dts_time"];
            const double time =
                (dts.isUndefined() ? packet["pts_time"] : dts).toString().toDouble();
            if (previous && time < *previous) {
                return false;
            }
            previous = time;
        }
    }
    return true;
}
