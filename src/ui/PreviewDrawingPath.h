#pragma once

#include <QString>
#include <QStringView>
#include <optional>

// Which way the preview draws. OpenGL pays off only when a GPU does the
// drawing: a software rasteriser (Mesa's llvmpipe, softpipe or swrast) runs
// the shader and composes the window on the CPU in the GUI thread, where the
// QPainter path (pictures converted on a worker queue, only drawn on the GUI
// thread) costs far less. NELVO_PREVIEW_OPENGL overrides the choice: "1"
// forces OpenGL wherever a context can be made, "0" forbids it, unset (or
// anything else) decides by the renderer.
struct PreviewDrawingPath {
    enum Kind { openGL, painter };

    // `setting` is NELVO_PREVIEW_OPENGL's value (empty when unset);
    // `renderer` the GL_RENDERER of a context made current on this platform,
    // none when no context could be made.
    static Kind choose(QStringView setting, const std::optional<QString>& renderer);

    // Whether a context needs to be made at all to choose.
    static bool needsRenderer(QStringView setting) { return setting != u"0"; }

    // A renderer that draws on the CPU, as Mesa names its software drivers.
    static bool isSoftwareRenderer(QStringView renderer);
};
