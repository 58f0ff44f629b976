#pragma once

#include <gst/gst.h>
#include <QString>

// The still beside a movie: a raw camera frame as a JPEG of quality 80,
// written atomically, readable by its owner only (0600), and never over
// anything already at its name. Runs on the recorder's "StillWriter" queue,
// never on a capture or recorder queue.
namespace StillWriter {

// Any failure is silent and leaves no still; returns whether one was written.
bool write(GstSample* rawFrame, const QString& path);

}  // namespace StillWriter
