#include "EncoderHandOff.h"

#include "FrameSize.h"

void EncoderHandOff::encode(GstSample* frame) {
    if (invalidateRequested_.exchange(false)) {
        retire();
    }
    GstCaps* caps = gst_sample_get_caps(frame);
    if (needsNewEncoder(caps)) {
        retire();
        encoder_ = VideoEncoder::create(sink_, caps);
        encoderUnavailable_ = !encoder_;
        if (encoder_) {
            ++encodersCreated_;
        }
    }
    if (!encoder_) {
        sink_.recordLoss(CaptureLoss::encodeFailed);
        return;
    }
    if (caps != encoderCaps_.get()) {
        encoderCaps_ = GstHandle<GstCaps>::ref(caps);
    }
    encoder_->encode(frame);
    framesEncoding_ = encoder_->framesEncoding();
}

void EncoderHandOff::stop() {
    retire();
    teardown_.drain();
}

bool EncoderHandOff::needsNewEncoder(GstCaps* caps) {
    const bool failed = encoder_ ? encoder_->failed() : encoderUnavailable_;
    if (failed) {
        return backOff_.mayReplace(EncoderBackOff::Clock::now());
    }
    return !encoder_ || !sameFrameSize(encoderCaps_.get(), caps);
}

// What the old encoder still had in flight is forgotten.
void EncoderHandOff::retire() {
    encoderCaps_.reset();
    framesEncoding_ = 0;
    if (encoder_) {
        encoder_->retire();
        teardown_.async([encoder = std::move(encoder_)]() mutable { encoder.reset(); });
    }
}
