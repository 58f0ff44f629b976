#include "Log.h"

#include <cstdio>

namespace Log {

void line(const QString& text) {
    // Lines come from several queues; one write per line keeps them whole.
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

}  // namespace Log
