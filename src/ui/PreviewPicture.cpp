#include "PreviewPicture.h"

#include "MappedVideoFrame.h"

#include <algorithm>

namespace {

int clamped(int value) {
    return std::clamp(value, 0, 255);
}

}  // namespace

void PreviewPicture::useColour(const PreviewColour& colour) {
    if (colour_ == colour) {
        return;
    }
    colour_ = colour;
    for (int i = 0; i < 256; ++i) {
        luma_[i] = colour.lumaWeight * (i - colour.lumaOffset) + 128;
        redV_[i] = colour.redFromV * (i - 128);
        greenU_[i] = colour.greenFromU * (i - 128);
        greenV_[i] = colour.greenFromV * (i - 128);
        blueU_[i] = colour.blueFromU * (i - 128);
    }
}

void PreviewPicture::clear() {
    pool_ = {};
    poolFrameSize_ = QSize();
}

// An image of the pool that only the pool holds (the last one handed out may
// still be on screen), made when first needed at this size.
QImage& PreviewPicture::freeImage(const QSize& size) {
    if (size != poolFrameSize_) {
        pool_ = {};
        poolFrameSize_ = size;
        ++imagesMade_;
    }
    for (int step = 1; step <= poolSize; ++step) {
        const int index = (current_ + step) % poolSize;
        QImage& image = pool_[index];
        if (image.isNull() || image.isDetached()) {
            current_ = index;
            if (image.isNull()) {
                image = QImage(size, QImage::Format_RGB32);
            }
            return image;
        }
    }
    // Every picture is still held elsewhere: the next one in turn gets fresh
    // pixels, and the holder keeps the old ones.
    current_ = (current_ + 1) % poolSize;
    pool_[current_] = QImage(size, QImage::Format_RGB32);
    return pool_[current_];
}

bool PreviewPicture::convert(const PreviewFrame& frame) {
    if (frame.isNull()) {
        return false;
    }
    const MappedVideoFrame mapped(frame.info, frame.sample.get());
    if (!mapped.mapped) {
        return false;
    }
    const GstVideoFrame& f = mapped.frame;
    const int width = GST_VIDEO_FRAME_WIDTH(&f);
    const int height = GST_VIDEO_FRAME_HEIGHT(&f);
    if (frame.mask->size() < static_cast<std::size_t>(width) * height) {
        return false;
    }
    QImage& image = freeImage(QSize(width, height));
    useColour(PreviewColour::of(frame.info));
    const GstVideoFormatInfo* format = f.info.finfo;
    const bool hasChroma = GST_VIDEO_FORMAT_INFO_N_COMPONENTS(format) >= 3;
    const int uShift = hasChroma ? GST_VIDEO_FORMAT_INFO_W_SUB(format, 1) : 0;
    const int vShift = hasChroma ? GST_VIDEO_FORMAT_INFO_W_SUB(format, 2) : 0;
    const int uStep = hasChroma ? GST_VIDEO_FRAME_COMP_PSTRIDE(&f, 1) : 0;
    const int vStep = hasChroma ? GST_VIDEO_FRAME_COMP_PSTRIDE(&f, 2) : 0;
    static const std::uint8_t neutral = 128;
    const std::uint8_t* moved = frame.mask->data();
    for (int y = 0; y < height; ++y) {
        const auto* lumaRow = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&f, 0)) +
                              y * GST_VIDEO_FRAME_COMP_STRIDE(&f, 0);
        const std::uint8_t* uRow = &neutral;
        const std::uint8_t* vRow = &neutral;
        if (hasChroma) {
            uRow =
                static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&f, 1)) +
                (y >> GST_VIDEO_FORMAT_INFO_H_SUB(format, 1)) * GST_VIDEO_FRAME_COMP_STRIDE(&f, 1);
            vRow =
                static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&f, 2)) +
                (y >> GST_VIDEO_FORMAT_INFO_H_SUB(format, 2)) * GST_VIDEO_FRAME_COMP_STRIDE(&f, 2);
        }
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const std::uint8_t* movedRow = moved + static_cast<std::size_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            if (movedRow[x]) {
                line[x] = 0xffff0000u;
                continue;
            }
            const int l = luma_[lumaRow[x]];
            const int u = uRow[(x >> uShift) * uStep];
            const int v = vRow[(x >> vShift) * vStep];
            line[x] = 0xff000000u | clamped((l + redV_[v]) >> 8) << 16 |
                      clamped((l - greenU_[u] - greenV_[v]) >> 8) << 8 |
                      clamped((l + blueU_[u]) >> 8);
        }
    }
    ++conversions_;
    return true;
}
