#pragma once

#include "NetworkCameraLink.h"

#include <QString>
#include <optional>

// Network cameras' user names and passwords in the desktop's secret service
// (libsecret), one item per camera ID, its secret the user name and the
// password together (JSON), so that neither is ever written anywhere else.
//
// Every call is a D-Bus round trip: never on the GUI thread.
namespace SecretStore {

enum class Outcome { stored, noService, failed };

// Whether a secret service runs or can be started on the session bus.
bool available();

// The camera's credentials; nothing when none are stored or no secret
// service answers.
std::optional<NetworkCredentials> lookup(const QString& cameraID);

// Keeps the camera's credentials under `label` (what the desktop's password
// manager shows), replacing any stored before.
Outcome store(const QString& cameraID, const QString& label, const NetworkCredentials& credentials);

// Forgets the camera's credentials; true when none are left.
bool remove(const QString& cameraID);

}  // namespace SecretStore
