#pragma once

#include "Error.h"

#include <QDateTime>
#include <QString>
#include <functional>
#include <optional>

class SerialQueue;

// What the recording manager drives a camera's recorder through. A recorder
// owns a serial queue; every operation except startDate is enqueued there and
// returns at once.
class MovieRecorder {
public:
    // Called once per file, on the recorder's side, when the file is finished
    // or abandoned: the path the file was opened under and, on failure, why.
    using Completion = std::function<void(const QString& filePath, std::optional<Error> error)>;

    // A file abandoned before its first keyframe ends with this code in
    // Error::writerDomain: it holds nothing and is no failure.
    static constexpr long long noDataCode = -11805;
    // A roll with no recording to continue (no file open, a stop under way,
    // or a roll already waiting) is answered at once with this code in
    // Error::writerDomain: nothing was opened at its path.
    static constexpr long long rollDroppedCode = -11806;
    static Error rollDropped() {
        return Error{Error::writerDomain, rollDroppedCode,
                     QStringLiteral("There is no recording to continue"), nullptr};
    }
    static bool isRollDropped(const std::optional<Error>& error) {
        return error && error->domain == Error::writerDomain && error->code == rollDroppedCode;
    }

    virtual ~MovieRecorder() = default;

    // The wall-clock time a movie started now would begin at (before now by
    // up to the pre-roll). Synchronous: the one blocking call into a recorder.
    virtual QDateTime startDate() = 0;
    // Opens a movie at the path.
    virtual void start(const QString& filePath, Completion onFinish) = 0;
    // Continues the running recording in a new file at the next keyframe.
    // Every roll's completion is called once: when that file is finished, or
    // at once with rollDroppedCode.
    virtual void roll(const QString& filePath, Completion onFinish) = 0;
    // Finishes the open movie.
    virtual void stop() = 0;

    virtual SerialQueue& queue() = 0;
};
