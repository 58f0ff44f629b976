#pragma once

#include "FeederSource.h"

// A video file played as a camera (`nelvo --camera-file PATH`): decoded at
// its own pace in real time and started again from the beginning at its end,
// so it runs for as long as capture does.
class FileCamera : public FeederSource {
public:
    explicit FileCamera(QString path, bool realTime = true);
    ~FileCamera() override;

protected:
    GstHandle<GstCaps> caps() override { return {}; }
    GstBuffer* produce(GstAppSrc* source) override;
    void interrupt() override;
    void rewind() override;

private:
    bool openDecoder();
    void closeDecoder();

    const QString path_;
    GstHandle<GstElement> decoder_;
    GstHandle<GstElement> frames_;
    GstHandle<GstCaps> lastCaps_;
    GstClockTime loopOffset_ = 0;
    GstClockTime streamEnd_ = 0;
};
