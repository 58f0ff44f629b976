#include "PreviewDrawingPath.h"

PreviewDrawingPath::Kind PreviewDrawingPath::choose(QStringView setting,
                                                    const std::optional<QString>& renderer) {
    if (!needsRenderer(setting) || !renderer) {
        return painter;
    }
    if (setting == u"1") {
        return openGL;
    }
    return isSoftwareRenderer(*renderer) ? painter : openGL;
}

bool PreviewDrawingPath::isSoftwareRenderer(QStringView renderer) {
    for (const QStringView name : {QStringView(u"llvmpipe"), QStringView(u"softpipe"),
                                   QStringView(u"swrast"), QStringView(u"software rasterizer")}) {
        if (renderer.contains(name, Qt::CaseInsensitive)) {
            return true;
        }
    }
    return false;
}
