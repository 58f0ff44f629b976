#include "MicrophoneErrors.h"

#include <gst/gst.h>
#include <QStringList>
#include <algorithm>

bool MicrophoneErrors::isMicrophones(const QString& postedBy, const Error& error) {
    const bool refusal =
        error.domain == Error::gstResourceDomain && error.code == GST_RESOURCE_ERROR_NOT_AUTHORIZED;
    if (refusal) {
        return false;
    }
    // Each step of the path is "Type:name".
    const QStringList steps = postedBy.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    return std::any_of(steps.begin(), steps.end(), [](const QString& step) {
        return step.section(QLatin1Char(':'), -1) == QLatin1String(sourceName);
    });
}
