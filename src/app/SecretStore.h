#pragma once

#include "NetworkCameraLink.h"

#include <QString>
#include <optional>

// Network cameras' user names and passwords in the desktop's secret service
// (libsecret), one item per camera ID, its secret the user name and the
// password together (JSON), so that neither is ever written anywhere else.
namespace SecretStore {

// The camera's credentials; nothing when none are stored or no secret
// service answers.
std::optional<NetworkCredentials> lookup(const QString& cameraID);

}  // namespace SecretStore
