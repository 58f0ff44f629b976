#include "ArmingCause.h"

QString armingLine(ArmingCause cause, qint64 seconds) {
    switch (cause) {
        case ArmingCause::launch:
            return QStringLiteral("Arming at launch in %1 seconds").arg(seconds);
        case ArmingCause::crash:
            return QStringLiteral("Arming after a crash in %1 seconds").arg(seconds);
        case ArmingCause::focus:
            return QStringLiteral("Arming for Focus in %1 seconds").arg(seconds);
        case ArmingCause::schedule:
            return QStringLiteral("Arming for the schedule in %1 seconds").arg(seconds);
    }
    return {};
}
