#include "SessionSetupResult.h"

#include <QCoreApplication>

QString sessionSetupResultText(SessionSetupResult result) {
    switch (result) {
        case SessionSetupResult::success:
            return {};
        case SessionSetupResult::notAuthorized:
            //: Shown when the system refuses Nelvo the camera or the microphone.
            return QCoreApplication::translate("SessionSetupResult", "Not authorized");
        case SessionSetupResult::configurationFailed:
            //: Shown when the cameras or the microphone could not be set up.
            return QCoreApplication::translate("SessionSetupResult", "Configuration failed");
    }
    return {};
}
