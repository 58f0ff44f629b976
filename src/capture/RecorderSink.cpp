#include "RecorderSink.h"

#include "PreRollRecorder.h"

void RecorderSink::appendVideo(GstHandle<GstSample> encodedH264) {
    recorder_.appendVideo(std::move(encodedH264));
}

void RecorderSink::appendAudio(GstHandle<GstSample> pcm) {
    recorder_.appendAudio(std::move(pcm));
}

void RecorderSink::setNewestFrame(GstHandle<GstSample> rawFrame) {
    recorder_.setNewestFrame(std::move(rawFrame));
}

void RecorderSink::recordLoss(CaptureLoss reason) {
    switch (reason) {
        case CaptureLoss::encoderBehind:
            recorder_.recordLoss(FrameLoss::Reason::encoderBehind);
            return;
        case CaptureLoss::encodeFailed:
            recorder_.recordLoss(FrameLoss::Reason::encodeFailed);
            return;
        case CaptureLoss::captureDropped:
            recorder_.recordLoss(FrameLoss::Reason::captureDropped);
            return;
    }
}

void RecorderSink::reset() {
    recorder_.reset();
}
