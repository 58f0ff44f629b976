#pragma once

#include <QString>

// Every settings key Nelvo reads or writes, with the owner that decides its meaning.
namespace SettingsKeys {

inline const QString validateFirstlaunch = QStringLiteral("validateFirstlaunch");
inline const QString motionTriggerEnabled = QStringLiteral("motionTriggerEnabled");
inline const QString audioTriggerEnabled = QStringLiteral("audioTriggerEnabled");
inline const QString audioTriggerThreshold = QStringLiteral("audioTriggerThreshold");
inline const QString motionTriggerThreshold = QStringLiteral("motionTriggerThreshold");
inline const QString preRollSeconds = QStringLiteral("preRollSeconds");
inline const QString timeoutValueInSeconds = QStringLiteral("timeoutValueInSeconds");
inline const QString freshStartNoticePending = QStringLiteral("freshStartNoticePending");
inline const QString armAtLogin = QStringLiteral("armAtLogin");
inline const QString scheduledArmingEnabled = QStringLiteral("scheduledArmingEnabled");
inline const QString scheduleWindows = QStringLiteral("scheduleWindows");
inline const QString scheduleGeneration = QStringLiteral("scheduleGeneration");
inline const QString armedRecordLastSeen = QStringLiteral("armedRecordLastSeen");
inline const QString armedRecordBySchedule = QStringLiteral("armedRecordBySchedule");
inline const QString armedStretchSince = QStringLiteral("armedStretchSince");
inline const QString armedStretchFrom = QStringLiteral("armedStretchFrom");
inline const QString armedStretchTo = QStringLiteral("armedStretchTo");
inline const QString recordingsLimitGB = QStringLiteral("recordingsLimitGB");
inline const QString recordingsFolderBookmark = QStringLiteral("recordingsFolderBookmark");
inline const QString selectedCameraID = QStringLiteral("selectedCameraID");
inline const QString secondCameraID = QStringLiteral("secondCameraID");
inline const QString selectedMicrophoneID = QStringLiteral("selectedMicrophoneID");
inline const QString openPreviewWindowAtLaunch = QStringLiteral("openPreviewWindowAtLaunch");
// Arm while the desktop's Do Not Disturb is on, as a Focus does; off unless chosen.
inline const QString armWhileDoNotDisturb = QStringLiteral("armWhileDoNotDisturb");
// The network cameras added in Settings (JSON): each one's ID, name and address
// without user name or password, which live in the secret service only.
inline const QString networkCameras = QStringLiteral("networkCameras");

// Per-camera keys: the prefix followed by the camera's unique ID.
inline QString motionTriggerThresholdFor(const QString& cameraID) {
    return motionTriggerThreshold + u'.' + cameraID;
}
inline QString detectionZonesFor(const QString& cameraID) {
    return QStringLiteral("detectionZones.") + cameraID;
}

// The pre-roll as every reader uses it: a real number of seconds in 0...30.
double clampedPreRollSeconds(double stored);

}  // namespace SettingsKeys
